#pragma once

// Shared set-up of the component tests: a package object on a temporary working folder, input
// files beside it, and ways to look at what a build left behind.

#include <QDir>
#include <QTemporaryDir>
#include <QXmlStreamReader>

#include "package/resource_fixup.h"
#include "platform/bundle/store_item.h"
#include "platform/model/package_object.h"
#include "test_support.h"

namespace EffectFixture {

using TestSupport::isBracedUuid;
using TextMap = std::map<QString, QString>;

// The uuid of an add-on path "<kindDir>/<uuid>/", or an empty string when the path is not one.
inline QString addOnUuid(const QString& path, const QString& kindDir) {
    const QString uuid = path.mid(kindDir.size() + 1, 38);
    return path == kindDir + '/' + uuid + '/' && isBracedUuid(uuid) ? uuid : QString();
}

using Kinds = std::vector<Resource::Type>;
inline Kinds kinds(const Package::CollectionAddOn& addOn) {
    Kinds result;
    for (const Package::Resource& resource : addOn.resources)
        result.push_back(resource.type());
    return result;
}

inline QPixmap redImage() {
    QPixmap pixmap(16, 16);
    pixmap.fill(Qt::red);
    return pixmap;
}

inline bool isDefaultPreview(const Types::Image& preview) {
    return preview.size() == QSize(80, 80) &&
           preview.toImage().pixelColor(40, 40) == QColor(Qt::gray);
}

struct Workspace {
    QTemporaryDir dir;
    Package::Object package;
    Serialize::ObjectStorage storage;  // holds the items that load() reads

    Workspace() {
        package.folder = dir.filePath("work");
        package.name = "Summer Pack";
        QDir().mkpath(package.folder);
    }

    QString input(const QString& relative, const QByteArray& data) {
        const QString path = dir.filePath("in/" + relative);
        TestSupport::writeFile(path, data);
        return path;
    }
    QString missing(const QString& name) const { return dir.filePath("gone/" + name); }

    // The builder hands fixups the absolute resource folder with a trailing "/"; so do we.
    QString resources() const { return package.folder + "/resources/"; }
    void runFixups(const Package::ResourceFixupQueue& fixups) const {
        QDir().mkpath(resources());
        for (const Package::ResourceFixup& fixup : fixups)
            fixup(resources());
    }
    QStringList resourceFiles() const { return QDir(resources()).entryList(QDir::Files); }

    QString itemFolder(const Package::CollectionAddOn& addOn) const {
        return package.folder + QLatin1Char('/') + addOn.path;
    }
    template <class Base>
    EditorCollection::PersistentItem<Base> load(const Package::CollectionAddOn& addOn) {
        return Bundle::loadItem<Base>(itemFolder(addOn), storage);
    }
    // The stored item of an add-on as a T, or null when it is none.
    template <class Base, class T = Base>
    const T* item(const Package::CollectionAddOn& addOn) {
        return dynamic_cast<const T*>(load<Base>(addOn).item);
    }
};

// The names of the child elements of the element reached by `path` from the first "item" element
// of a stored item file, in document order.
inline QStringList itemChildNames(const QString& xmlFile, const QStringList& path = {}) {
    QXmlStreamReader xml(TestSupport::readFile(xmlFile));
    while (!xml.atEnd() && !(xml.readNext() == QXmlStreamReader::StartElement &&
                             xml.name() == QLatin1String("item"))) {
    }
    for (const QString& step : path) {
        while (xml.readNextStartElement() && xml.name() != step)
            xml.skipCurrentElement();
    }
    QStringList names;
    while (xml.readNextStartElement()) {
        names << xml.name().toString();
        xml.skipCurrentElement();
    }
    return names;
}

}  // namespace EffectFixture
