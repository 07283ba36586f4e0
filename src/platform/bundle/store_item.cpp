#include "platform/bundle/store_item.h"

#include <QDir>
#include <QFile>
#include <typeinfo>

#include "platform/bundle/abstract_content_receiver.h"
#include "platform/bundle/bundle_error.h"
#include "platform/bundle/flat_writer.h"
#include "platform/bundle/folder_content_source.h"
#include "platform/bundle/read_limits.h"
#include "platform/serialize/archive.h"
#include "platform/serialize/node.h"

namespace Bundle {
namespace {

// Names the item's images "preview.png", "preview_2.png", ...
class ItemContentReceiver : public AbstractContentReceiver {
public:
    using AbstractContentReceiver::AbstractContentReceiver;

protected:
    QString imageBaseName() const override { return QStringLiteral("preview"); }
    QString blobBaseName() const override { return QStringLiteral("data"); }
};

}  // namespace

bool storeArchive(const QString& folder, const Serialize::ISerializable& object) {
    if (!QDir().mkpath(folder))
        return false;
    auto writer = std::make_shared<FlatWriter>(folder);
    ItemContentReceiver receiver(writer);
    try {
        const QByteArray data = Serialize::writeArchive(object, receiver, Serialize::Format::Xml,
                                                        folder + QLatin1Char('/') + itemFileName);
        writer->writeContent(itemFileName, data);
    } catch (const Error&) {
        return false;
    }
    return true;
}

void loadArchive(const QString& folder, Serialize::ISerializable& object,
                 Serialize::ObjectStorage& storage) {
    const QString path = folder + QLatin1Char('/') + itemFileName;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw Error(
            QStringLiteral("cannot read %1: %2").arg(path, file.errorString()).toStdString());
    if (file.size() > ReadLimits().maxItemBytes)  // not one of ours
        throw Error(QStringLiteral("%1 is too large for a stored item (%2 bytes)")
                        .arg(path)
                        .arg(file.size())
                        .toStdString());
    const Serialize::Node tree = Serialize::parseXml(file.readAll(), path);
    // A record of another type (or none) is a wrong type, not a damaged archive.
    if (tree.type != Serialize::ValueType::Object ||
        tree.className != QString::fromStdString(object.typeName()))
        throw std::bad_cast();
    FolderContentSource source(folder);
    Serialize::IDeserializer::MakeDeserializer(tree, source, storage, path)->deserialize(object);
}

}  // namespace Bundle
