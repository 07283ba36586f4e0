#pragma once

#include <QString>
#include <set>

#include "package/build_component.h"
#include "platform/serialize/image.h"

namespace Package {

// The common base of the concrete components: the metadata that every built item gets (preview,
// categories, collection id), which it owns by value. Its constructor makes the default preview,
// so it throws Types::NoGuiApplicationError when the program has no QGuiApplication.
class AbstractBuildComponent : public IBuildComponent {
public:
    // Empty categories and collection id; the preview is an 80 x 80 grey square.
    AbstractBuildComponent();

    std::set<QString> categories() const { return m_categories; }
    void setCategories(const std::set<QString>& categories);

    QString collectionId() const { return m_collectionId; }
    void setCollectionId(const QString& collectionId) { m_collectionId = collectionId; }

    Types::Image preview() const { return m_preview; }
    // A null image is ignored: the previous preview stays.
    void setPreview(const Types::Image& preview);

    // The package-relative path of a resource: "resources/<fileName>".
    static QString makeResourcePath(const QString& fileName);

private:
    Types::Image m_preview;
    std::set<QString> m_categories;
    QString m_collectionId;
};

}  // namespace Package
