#include "cli/package_verifier.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QTextStream>
#include <algorithm>
#include <typeinfo>

#include "cli/package_report.h"
#include "cli/terminal_text.h"
#include "package/type_registration.h"
#include "platform/bundle/bundle_error.h"
#include "platform/bundle/image_file.h"
#include "platform/bundle/store_item.h"
#include "platform/bundle/zip.h"
#include "platform/model/import_object.h"
#include "platform/model/persistent_item.h"
#include "platform/serialize/error.h"

namespace Cli {
namespace {

const QString kDescriptionFile = Bundle::DescriptionParseRules().descriptionFile;

// Reading hostile files can fail in more ways than the readers name; every one is a problem of
// the package, never a reason to stop verifying it.
template <class F>
QString failureOf(F&& read) {
    try {
        read();
    } catch (const std::bad_cast&) {
        return QStringLiteral("holds an object of another type than its record names");
    } catch (const std::exception& error) {
        return QString::fromUtf8(error.what());
    }
    return QString();
}

}  // namespace

PackageVerifier::PackageVerifier(const QString& packagePath, const QString& folder)
    : m_packagePath(packagePath), m_folder(QDir::cleanPath(folder)) {}

PackageVerifier PackageVerifier::verify(const QString& packagePath, const QString& folder) {
    return verify(packagePath, folder,
                  [](const QString& package, const QString& into, QStringList* damaged) {
                      Bundle::Zip::extractAll(package, into, {}, damaged);
                  });
}

PackageVerifier PackageVerifier::verify(const QString& packagePath, const QString& folder,
                                        const Unpacker& unpacker) {
    Package::registerTypes();
    PackageVerifier verifier(packagePath, folder);
    // Each stage needs what the one before it established; within a stage every problem is kept.
    if (verifier.checkArchive() && verifier.unpack(unpacker) && verifier.checkDescription() &&
        verifier.readContent()) {
        verifier.checkAddOns();
        verifier.m_readAddOns = true;
    }
    return verifier;
}

QString PackageVerifier::checkName(Check check) {
    switch (check) {
        case Check::Archive:
            return QStringLiteral("archive");
        case Check::Description:
            return QStringLiteral("description");
        case Check::Content:
            return QStringLiteral("content");
        case Check::Item:
            return QStringLiteral("item");
        case Check::Resource:
            return QStringLiteral("resource");
    }
    return QString();
}

QString PackageVerifier::tidy(const QString& text) const {
    // The unpack folder is ours and temporary: name files as the package does. Names come from
    // the package, so no control character may break a line or reach a terminal.
    QString out = text;
    out.replace(m_folder + QLatin1Char('/'), QString());
    return terminalSafe(out);
}

void PackageVerifier::add(Check check, const QString& place, const QString& message) {
    m_problems.push_back({check, tidy(place), tidy(message)});
}

QString PackageVerifier::entryPath(const QString& path) const {
    const QString absolute = Bundle::addOnFolder(m_folder, path);
    return absolute.isEmpty() ? QString() : absolute.mid(m_folder.size() + 1);
}

bool PackageVerifier::checkArchive() {
    try {
        for (const Bundle::Zip::Problem& problem : Bundle::Zip::checkEntries(m_packagePath))
            add(Check::Archive, problem.entry, problem.text);
        for (const Bundle::Zip::Entry& entry : Bundle::Zip::list(m_packagePath)) {
            if (!entry.isDirectory) {
                m_files.emplace_back(entry.name, entry.size);
                m_listed.insert(entryPath(entry.name));
            }
        }
    } catch (const Bundle::Error& error) {
        add(Check::Archive, QString(), QString::fromUtf8(error.what()));
        return false;
    }
    m_entryCount = int(m_files.size());
    return true;
}

bool PackageVerifier::unpack(const Unpacker& unpacker) {
    QStringList damaged;
    try {
        unpacker(m_packagePath, m_folder, &damaged);
    } catch (const Bundle::Error& error) {
        const QString what = QString::fromUtf8(error.what());
        // An unsafe entry stops the unpack; it is listed already, say only what it cost.
        const bool listed = std::any_of(m_problems.begin(), m_problems.end(),
                                        [&](const auto& p) { return what.contains(p.message); });
        add(Check::Archive, QString(),
            listed ? QStringLiteral("not unpacked, so its description and add-ons were not checked")
                   : what);
        return false;
    }
    for (const QString& name : damaged) {
        m_damaged.insert(name);
        const bool listed = std::any_of(m_problems.begin(), m_problems.end(),
                                        [&](const auto& p) { return p.place == name; });
        if (!listed)
            add(Check::Archive, name,
                QStringLiteral("entry '%1' does not read back intact").arg(name));
    }
    return true;
}

bool PackageVerifier::checkDescription() {
    if (m_damaged.contains(kDescriptionFile))
        return false;
    if (!QFileInfo(m_folder + QLatin1Char('/') + kDescriptionFile).isFile()) {
        add(Check::Description, kDescriptionFile,
            QStringLiteral("%1: the description is missing").arg(kDescriptionFile));
        return false;
    }
    const QString failure =
        failureOf([&] { m_manifest = Bundle::readManifest(m_folder, kDescriptionFile); });
    if (!failure.isEmpty()) {
        add(Check::Description, kDescriptionFile, failure);
        return false;
    }
    checkSize();
    checkPreview();
    return true;
}

void PackageVerifier::checkSize() {
    // The builder measures its folder before it writes these two files, so they do not count.
    // Unsigned: the sizes come from headers that may claim anything, and must not overflow.
    quint64 total = 0;
    for (const auto& file : m_files) {
        if (file.first != kDescriptionFile && file.first != m_manifest.contentFile)
            total += quint64(file.second);
    }
    if (total != quint64(m_manifest.size))
        add(Check::Description, kDescriptionFile,
            QStringLiteral("%1: <size> says %2 bytes, but the files besides the description and "
                           "the content file hold %3")
                .arg(kDescriptionFile)
                .arg(m_manifest.size)
                .arg(total));
}

void PackageVerifier::checkPreview() {
    const QString preview = m_manifest.previewPath;
    if (preview.isEmpty())
        return;
    const QString entry = entryPath(preview);
    const auto problem = [&](const QString& what) {
        add(Check::Description, kDescriptionFile,
            QStringLiteral("%1: <previewPath> '%2' %3").arg(kDescriptionFile, preview, what));
    };
    if (entry.isEmpty()) {
        problem(QStringLiteral("points outside the package"));
        return;
    }
    if (m_damaged.contains(entry))
        return;
    const QString path = m_folder + QLatin1Char('/') + entry;
    if (!QFileInfo(path).isFile()) {
        problem(QStringLiteral("is not in the package"));
        return;
    }
    try {
        // Within the limits, from its header: the preview is not decoded here.
        Bundle::checkedImageSize(path);
    } catch (const Bundle::Error& error) {
        // The message names the file: keep only what it says of it.
        problem(QString::fromUtf8(error.what()).mid(path.size() + 2));
    }
}

bool PackageVerifier::readContent() {
    const QString content = m_manifest.contentFile;
    if (m_damaged.contains(content))
        return false;
    if (!QFileInfo(m_folder + QLatin1Char('/') + content).isFile()) {
        add(Check::Description, kDescriptionFile,
            QStringLiteral("%1: names the content file '%2', which is not in the package")
                .arg(kDescriptionFile, content));
        return false;
    }
    const QString failure =
        tidy(failureOf([&] { m_object = Bundle::readContentFile(m_folder, content, content); }));
    if (!failure.isEmpty()) {
        add(Check::Content, content,
            failure.startsWith(content) ? failure : content + QStringLiteral(": ") + failure);
        return false;
    }
    return true;
}

void PackageVerifier::checkAddOns() {
    for (const AddOnList& info : addOnLists()) {
        const QString list = QLatin1String(info.name);
        for (const Package::CollectionAddOn& addOn : m_object.*info.member) {
            ++m_addOnCount;
            const QString folder = entryPath(addOn.path);
            if (folder.isEmpty()) {
                add(Check::Item, addOn.path,
                    QStringLiteral("%1: the %2 add-on '%3' points outside the package")
                        .arg(m_manifest.contentFile, list, addOn.path));
            } else if (!m_damaged.contains(folder + QLatin1Char('/') + Bundle::itemFileName)) {
                // (A damaged "item.xml" is listed with the archive already.)
                Serialize::ObjectStorage storage;
                std::unique_ptr<Serialize::ISerializable> item;
                const QString failure =
                    tidy(failureOf([&] { item = readStoredItem(m_folder, list, addOn, storage); }));
                const QString entry = addOn.path + Bundle::itemFileName;
                if (!failure.isEmpty())
                    add(Check::Item, addOn.path,
                        failure.startsWith(tidy(entry)) ? failure
                                                        : entry + QStringLiteral(": ") + failure);
                checkImportLocation(addOn, item.get());
            }
            for (const Package::Resource& resource : addOn.resources) {
                // A placeholder (an intermediate overlay's project part) stands for no file.
                if (!resource.path.isEmpty())
                    checkFile(addOn, resource.path, QStringLiteral("resource"));
            }
        }
    }
}

void PackageVerifier::checkImportLocation(const Package::CollectionAddOn& addOn,
                                          const Serialize::ISerializable* item) {
    const auto* record =
        dynamic_cast<const EditorCollection::PersistentItem<Import::Object>*>(item);
    if (!record || !record->item)
        return;
    // A file that travels in the package is named by its package path; one that the editor
    // downloads later by a "#...#" marker that it resolves itself.
    const QString location = record->item->location();
    if (!location.isEmpty() && !location.startsWith(QLatin1Char('#')))
        checkFile(addOn, location, QStringLiteral("the import's location"));
}

void PackageVerifier::checkFile(const Package::CollectionAddOn& addOn, const QString& path,
                                const QString& what) {
    ++m_resourceCount;
    const QString entry = entryPath(path);
    const auto problem = [&](const QString& reason) {
        add(Check::Resource, path,
            QStringLiteral("%1: %2 '%3' %4").arg(addOn.path, what, path, reason));
    };
    if (entry.isEmpty())
        problem(QStringLiteral("points outside the package"));
    else if (!m_damaged.contains(entry) &&
             !QFileInfo(m_folder + QLatin1Char('/') + entry).isFile() && !m_listed.contains(entry))
        problem(QStringLiteral("is not in the package"));
}

QJsonObject PackageVerifier::toJson() const {
    QJsonArray problems;
    for (const Problem& problem : m_problems)
        problems.append(QJsonObject{{QStringLiteral("check"), checkName(problem.check)},
                                    {QStringLiteral("place"), problem.place},
                                    {QStringLiteral("message"), problem.message}});
    return QJsonObject{
        {QStringLiteral("package"), m_packagePath}, {QStringLiteral("ok"), ok()},
        {QStringLiteral("problems"), problems},     {QStringLiteral("files"), m_entryCount},
        {QStringLiteral("addOns"), m_addOnCount},   {QStringLiteral("resources"), m_resourceCount}};
}

namespace {

QString counted(qint64 count, const char* noun) {
    return QStringLiteral("%1 %2%3").arg(count).arg(QLatin1String(noun)).arg(count == 1 ? "" : "s");
}

}  // namespace

QString PackageVerifier::toText() const {
    QString text;
    QTextStream out(&text);
    for (const Problem& problem : m_problems)
        out << terminalSafe(m_packagePath) << ": " << problem.message << "\n";
    if (ok())
        out << terminalSafe(m_packagePath) << ": ok (" << counted(m_entryCount, "file") << ", "
            << counted(m_addOnCount, "add-on") << ", " << counted(m_resourceCount, "resource")
            << ")\n";
    else
        out << terminalSafe(m_packagePath) << ": " << counted(qint64(m_problems.size()), "problem")
            << "\n";
    out.flush();
    return text;
}

}  // namespace Cli
