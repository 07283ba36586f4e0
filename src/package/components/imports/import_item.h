#pragma once

#include <QString>
#include <set>

#include "platform/model/import_object.h"

namespace Package {

class AbstractBuildComponent;
class Object;

// What imports and intros share: an Import::Object that carries the smallest category and the two
// texts, stored as a persistent item in "<root>/imports/<uuid>" with the component's preview,
// categories and collection id, and an add-on "imports/<uuid>/" that maps every category to the
// collection id, appended to the package's import add-ons. Storing throws FS::Error when the
// disk fails.
Import::Object makeImportObject(const std::set<QString>& categories, const QString& primaryText,
                                const QString& secondaryText);
void storeImportItem(Package::Object* package, const QString& uuid, Import::Object& object,
                     const AbstractBuildComponent& component);

}  // namespace Package
