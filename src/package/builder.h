#pragma once

#include <QPixmap>
#include <QString>
#include <deque>
#include <memory>

#include "package/build_component.h"
#include "platform/bundle/description_parse_rules.h"
#include "platform/bundle/zip.h"
#include "platform/model/package_object.h"

namespace Package {

// Builds one package file from a list of components.
//
// build() runs every component in registration order on the builder's own package object, then
// every fixup they returned (in component order, and queue order within each) into the resource
// folder "<folder>/resources/", writes "preview.png", the description and the content file into
// the working folder, and packs the folder into the package file. The working folder stays on disk;
// removing it is the caller's business.
//
// The builder owns its package object and shares its components: a copy builds the same components
// into its own copy of the package object. Building needs a QGuiApplication (images are pixmaps).
class Builder {
public:
    // Takes the package object (its folder and name); the manifest name is the object's name.
    Builder(Package::Object&& package, const QString& packagePath, const QPixmap& preview);
    // A new package object on `folder`, named `contentName`.
    Builder(const QString& folder, const QString& packagePath, const QString& contentName,
            const QString& manifestName, const QPixmap& preview);
    Builder(const Builder&) = default;

    // Appends a component; calls chain. A component added twice builds twice.
    Builder& setupBuildComponent(std::shared_ptr<IBuildComponent> component);

    // Runs the build. An empty `uuid` gives the package a newly generated id. Every error is an
    // exception; what was written to the working folder so far stays there, and the package file
    // appears whole or not at all. Before anything is written, throws
    // Types::NoGuiApplicationError when the program has no QGuiApplication, and
    // std::invalid_argument for a working folder that holds a place marker that the layout's
    // patterns would replace, and for a name that the description cannot carry (see
    // name_checks.h). Later: FS::Error for a failed write, Bundle::Error from packing, and what
    // the components and their fixups throw.
    void build(const QString& uuid);

    // How the package file is packed (progress, cancelling); by default silently.
    void setPackOptions(const Bundle::Zip::PackOptions& options) { m_packOptions = options; }

    const Package::Object& package() const { return m_package; }
    QString packagePath() const { return m_packagePath; }

private:
    void fixupResources(Package::Object* package, const ResourceFixupQueue& fixups);
    void writeConfig(Package::Object* package, const QString& uuid);

    std::deque<std::shared_ptr<IBuildComponent>> m_components;
    Bundle::DescriptionParseRules m_descriptionRules;
    QString m_packagePath;
    QString m_contentName;
    QString m_manifestName;
    QPixmap m_preview;
    Package::Object m_package;
    Bundle::Zip::PackOptions m_packOptions;
};

}  // namespace Package
