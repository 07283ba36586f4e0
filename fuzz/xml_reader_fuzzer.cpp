// Feeds bytes to the serialization library's reader as a content file and as a stored item: the
// archive is parsed and read into a package object, into whatever object it names, and into the
// stored item record of each item type. Reading must end in a value or in Serialize::Error (or
// std::bad_cast for a record whose item is of another family); whatever is read must write back
// into an archive that reads again and writes the same bytes.

#include <QImage>
#include <QTemporaryDir>

#include <cstdint>
#include <functional>
#include <memory>
#include <typeinfo>

#include "fuzz_support.h"
#include "platform/bundle/folder_content_source.h"
#include "platform/model/effect_object.h"
#include "platform/model/import_object.h"
#include "platform/model/overlay_preset.h"
#include "platform/model/package_object.h"
#include "platform/model/persistent_item.h"
#include "platform/model/transition_object.h"
#include "platform/serialize/archive.h"
#include "platform/serialize/error.h"

namespace {

using Reread = std::function<std::unique_ptr<Serialize::ISerializable>(
    const QByteArray&, Serialize::MemoryContent&, Serialize::ObjectStorage&)>;

// Holds the "preview.png" that stored items name, so that image values are decoded too. Removed
// when the process exits.
QTemporaryDir& imageFolder() {
    static QTemporaryDir folder;
    return folder;
}

// Writes `object` back, reads that with `reread` and checks that it writes the same bytes.
void expectStableRoundTrip(const Serialize::ISerializable& object, const Reread& reread) {
    Serialize::MemoryContent first;
    const QByteArray once = Serialize::writeArchive(object, first);
    Serialize::ObjectStorage storage;
    std::unique_ptr<Serialize::ISerializable> again;
    try {
        again = reread(once, first, storage);
    } catch (const std::exception& error) {
        FuzzSupport::fail(
            QStringLiteral("a written %1 does not read back: %2")
                .arg(QString::fromStdString(object.typeName()), QString::fromUtf8(error.what())));
    }
    Serialize::MemoryContent second;
    if (!again || Serialize::writeArchive(*again, second) != once)
        FuzzSupport::fail(
            QStringLiteral("a %1 writes other bytes once read back:\n%2")
                .arg(QString::fromStdString(object.typeName()), QString::fromUtf8(once)));
}

// Reads the archive into a default `T`, the way content files and stored items are read.
template <class T>
void readInto(const QByteArray& data) {
    T object;
    Serialize::ObjectStorage storage;
    Bundle::FolderContentSource source(imageFolder().path());
    try {
        Serialize::readArchive(data, QStringLiteral("fuzz.xml"), object, source, storage);
    } catch (const Serialize::Error&) {
        return;
    } catch (const std::bad_cast&) {
        return;
    }
    expectStableRoundTrip(object, [](const QByteArray& written, Serialize::MemoryContent& content,
                                     Serialize::ObjectStorage& objects) {
        auto copy = std::make_unique<T>();
        Serialize::readArchive(written, QStringLiteral("written.xml"), *copy, content, objects);
        return std::unique_ptr<Serialize::ISerializable>(std::move(copy));
    });
}

// Reads the archive into whatever object its root names, through the type registry.
void readAny(const QByteArray& data) {
    Serialize::ObjectStorage storage;
    Bundle::FolderContentSource source(imageFolder().path());
    std::unique_ptr<Serialize::ISerializable> object;
    try {
        object = Serialize::readArchive(data, QStringLiteral("fuzz.xml"), source, storage);
    } catch (const Serialize::Error&) {
        return;
    } catch (const std::bad_cast&) {
        return;
    }
    if (!object)
        return;
    expectStableRoundTrip(*object, [](const QByteArray& written, Serialize::MemoryContent& content,
                                      Serialize::ObjectStorage& objects) {
        return Serialize::readArchive(written, QStringLiteral("written.xml"), content, objects);
    });
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    FuzzSupport::start();
    QImage preview(4, 3, QImage::Format_ARGB32);
    preview.fill(Qt::darkCyan);
    if (!imageFolder().isValid() || !preview.save(imageFolder().filePath("preview.png")))
        FuzzSupport::fail(QStringLiteral("cannot prepare the image folder"));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), int(size));
    // Every reading below parses again; what does not even parse is done with here.
    try {
        Serialize::parseXml(bytes, QStringLiteral("fuzz.xml"));
    } catch (const Serialize::Error&) {
        return 0;
    }
    readInto<Package::Object>(bytes);
    readAny(bytes);
    readInto<EditorCollection::PersistentItem<Effect::Object>>(bytes);
    readInto<EditorCollection::PersistentItem<Transition::Object>>(bytes);
    readInto<EditorCollection::PersistentItem<Import::Object>>(bytes);
    readInto<EditorCollection::PersistentItem<Overlay::Preset>>(bytes);
    return 0;
}
