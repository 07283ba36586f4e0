#include "package/type_registration.h"

#include "package/components/effects/external_shader.h"
#include "package/components/effects/template_transition_items.h"
#include "platform/serialize/type_registry.h"

namespace Package {
namespace {

template <class T>
void add(const char* typeName) {
    Serialize::TypeRegistry::global().add(typeName, [] { return std::make_unique<T>(); });
}

// Whoever loads the library can read what it writes.
[[maybe_unused]] const bool registeredOnLoad = (registerTypes(), true);

}  // namespace

void registerTypes() {
    add<Effect::ExternalShader>("Effect::ExternalShader");
    add<Transition::ExternalShader>("Transition::ExternalShader");
    add<Transition::MaskTransition>("Transition::MaskTransition");
    add<Transition::Overlay>("Transition::Overlay");
}

}  // namespace Package
