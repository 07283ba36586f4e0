#pragma once

#include <QString>
#include <QStringList>
#include <variant>

#include "package/build_params.h"

namespace Package {

// The package-wide data of one build: what a reopened package tells besides its record.
// Package::Extractor makes these; plain values that own their strings and never throw.
struct BuildContext {
    QString previewPath;  // "preview.png" beside the content when it exists, else empty
    QString name;
    QStringList categories;
    QString collectionId;
};

// A build context with its record. Copyable exactly when the record is.
template <class P>
struct BuildContextT : BuildContext {
    P params;
};

// The context of an intermediate overlay: also the collection id of its project part.
struct IntermediateOverlayBuildContext : BuildContextT<OverlayParams> {
    QString introCollectionId;
};

// Any build context. Callers switch on the index, so the order of the alternatives is fixed.
using AnyBuildContext = std::variant<BuildContextT<ImportParams>,             // 0
                                     BuildContextT<IntroParams>,              // 1
                                     BuildContextT<OverlayParams>,            // 2
                                     IntermediateOverlayBuildContext,         // 3
                                     BuildContextT<MaskTransitionParams>,     // 4
                                     BuildContextT<OverlayTransitionParams>,  // 5
                                     BuildContextT<ShaderTransitionParams>,   // 6
                                     BuildContextT<ShaderEffectParams>,       // 7
                                     BuildContextT<LutEffectParams>>;         // 8

}  // namespace Package
