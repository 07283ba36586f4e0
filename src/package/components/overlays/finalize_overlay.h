#pragma once

#include <QString>

namespace Package {

class Object;

// Turns a package that holds an overlay in its intermediate (editable) form into a finished
// overlay package: reads its build context back and builds it again with the final overlay
// component, filed under "titles", "callouts" or "stickers" by its overlay type.
//
// The new package is built at `folder` + "/" + the context's name, which is both its working
// folder and its package file: the folder is replaced by the package once it is complete (see
// Bundle::Zip::compressAll). Returns the new package's uuid text, or an empty string, having built
// nothing, when `package` does not hold an intermediate overlay. Errors of reading, building and
// packing are thrown, and so is a target path that exists already (it is never overwritten).
// Reading the package back needs a QGuiApplication and a running
// EditorCollection::CollectionService: without them it throws Types::NoGuiApplicationError or
// EditorCollection::NoCollectionServiceError before it builds anything.
QString finalizeOverlay(const Package::Object* package, const QString& folder);

}  // namespace Package
