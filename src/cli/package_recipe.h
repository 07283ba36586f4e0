#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

#include "package/build_context.h"
#include "platform/bundle/package_reader.h"

namespace Cli {

// The recipe that builds an unpacked package again: every add-on of its effect, transition and
// import lists in the package's order, each as the recipe component of its kind, with the files
// it needs named relative to the recipe's folder; the package's name, preview and uuid from its
// description. An intro, or an intermediate overlay (as the extractor reads it back), brings a
// timeline file that the recipe names beside itself; so does each finished overlay preset (see
// PresetTimeline).
//
// What cannot be carried is named in `warnings`, one line each; see AddOnReader.
struct PackageRecipe {
    QByteArray json;
    QString timelineFileName;  // the timeline file's name, beside the recipe
    QByteArray timeline;       // its content; empty when the package holds no project
    // The timeline file of each finished overlay preset, beside the recipe: its name, content.
    QList<QPair<QString, QByteArray>> overlayTimelines;
    QStringList warnings;
    int components = 0;  // the components the recipe holds
    int addOns = 0;      // the add-ons the package holds

    // True when the package holds add-ons and none of them could be carried.
    bool carriesNothing() const { return components == 0 && addOns > 0; }

    // Reads the package unpacked into `object.folder`. Timelines have their media paths made
    // relative to the recipe's folder. Throws Cli::Error naming
    // `packagePath` when the package names a file outside its own folder.
    // The name of the timeline file of the finished preset at `index` beside `recipePath`.
    static QString overlayTimelineName(const QString& recipePath, int index);

    static PackageRecipe read(const Package::Object& object,
                              const Bundle::PackageManifest& manifest, const QString& recipePath,
                              const QString& packagePath);
};

}  // namespace Cli
