#pragma once

#include <QSet>
#include <QString>

#include "cli/checks/check_report.h"
#include "platform/bundle/package_reader.h"
#include "platform/model/package_object.h"

namespace Cli {

// Runs the content checks over what an unpacked package holds, item by item: an effect's LUT
// (LutCheck) or shader and auxiliary image (ShaderCheck, MediaCheck), a transition's mask or clip,
// an import's media for its kind, an overlay's videos and stills, and the package's preview; then
// the resources that several items share (PackageClashCheck). Findings name the item and the file
// inside the package. Items that do not read, files that are missing or damaged and paths that
// leave the package are the package verifier's problems and are skipped here. The files are
// checked `threads` at a time (0: one per core), the findings kept in the items' order. Owns
// nothing.
class PackageContentCheck {
public:
    // `folder` is where the package was unpacked; `damaged` its entries that did not read back.
    static void check(const QString& folder, const Bundle::PackageManifest& manifest,
                      const Package::Object& object, const QSet<QString>& damaged,
                      CheckReport& report, int threads = 0);
};

}  // namespace Cli
