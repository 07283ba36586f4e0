#pragma once

#include <QtGlobal>
#include <optional>

#include "package/build_context.h"

namespace Package {
class Object;
}

// Reopening built packages for editing. Both operations read stored items through the collection
// service of the process (EditorCollection::CollectionService), which must be alive while they
// run: when one has to read an item and no service is running, it throws
// EditorCollection::NoCollectionServiceError, and Types::NoGuiApplicationError when the program
// has no QGuiApplication (stored previews are pixmaps). An add-on path that leads out of the
// package's folder is never followed: its folder counts as one that holds nothing. What they
// return owns everything it refers to.
namespace Package::Extractor {

// What a built package holds.
enum class ContentType : qint32 {
    Import = 0,               // an import package; reopens as an import context
    Intro = 1,                // an intro package
    Overlay = 2,              // a finished overlay (presets without an import add-on)
    IntermediateOverlay = 3,  // an editable overlay, presets plus its project as an import add-on
};

// The content type of a package object, decided by its first preset and first import add-on only:
// both lists filled gives IntermediateOverlay and presets alone Overlay, without reading anything;
// imports alone give Intro or Import by the kind of the item stored in the first import add-on's
// folder. A null object, or one with neither list filled, gives an empty optional.
//
// Throws std::runtime_error naming the folder when that first import folder holds no readable
// import item (or lies outside the package): there is nothing to tell the kind by.
std::optional<ContentType> extractContentType(const Package::Object* object);

// The build context from which the package could be built again. Only import packages (index 0)
// and intermediate overlays (index 3) are rebuilt; every other package, a null object included,
// gives a default import context (index 0). A malformed intermediate overlay gives a default
// context at index 3, and a project that cannot be read leaves its timeline null.
//
// Throws as extractContentType does for an imports-only package whose first item cannot be read.
AnyBuildContext extractBuildContext(const Package::Object* object);

}  // namespace Package::Extractor
