#include "platform/collection/collection_service.h"

#include <exception>
#include <optional>

#include "platform/bundle/store_item.h"
#include "platform/collection/load_persistent_item_request.h"
#include "platform/model/effect_object.h"
#include "platform/model/import_object.h"
#include "platform/model/overlay_preset.h"
#include "platform/model/transition_object.h"
#include "platform/serialize/no_gui_application_error.h"

namespace EditorCollection {
namespace {

// Answers the load requests of one item type.
template <class T>
class Loader : public PubSub::Details::Subscriber<LoadPersistentItemRequest<T>> {
public:
    Loader() { this->subscribe(); }
    ~Loader() override { this->unsubscribe(); }

private:
    void handle(const LoadPersistentItemRequest<T>& request) override {
        // An empty folder would name "/item.xml".
        if (request.folder().isEmpty())
            return;
        auto storage = std::make_shared<Serialize::ObjectStorage>();
        std::optional<PersistentItem<T>> record = read(request.folder(), *storage);
        if (!record)
            return;
        if (!request.uniqueId().isEmpty() && record->uniqueId != request.uniqueId())
            return;
        request.reply(LoadPersistentItemNotification<T>(std::move(*record), std::move(storage)));
    }

    static std::optional<PersistentItem<T>> read(const QString& folder,
                                                 Serialize::ObjectStorage& storage) {
        try {
            return Bundle::loadItem<T>(folder, storage);
        } catch (const Types::NoGuiApplicationError&) {
            throw;  // the program's fault, not the item's: no item would ever load
        } catch (const std::exception&) {
            // Unreadable, malformed or of another item type (std::bad_cast): not an item of this
            // collection, so there is nothing to answer with.
            return std::nullopt;
        }
    }
};

}  // namespace

struct CollectionService::Loaders {
    Loader<Effect::Object> effects;
    Loader<Transition::Object> transitions;
    Loader<Import::Object> imports;
    Loader<Overlay::Preset> presets;
};

CollectionService::CollectionService() : m_loaders(std::make_unique<Loaders>()) {}

CollectionService::~CollectionService() = default;

}  // namespace EditorCollection
