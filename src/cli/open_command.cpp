#include "cli/open_command.h"

#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QScopeGuard>
#include <QTemporaryDir>

#include "cli/cli_error.h"
#include "cli/command_line.h"
#include "cli/context_report.h"
#include "package/components/overlays/finalize_overlay.h"
#include "package/extractor/extractor.h"
#include "platform/bundle/package_reader.h"
#include "platform/fs/atomic_file.h"
#include "platform/fs/temporary_paths.h"
#include "platform/model/timeline_object.h"

namespace Cli {
namespace {

QString contentTypeName(const std::optional<Package::Extractor::ContentType>& type) {
    if (!type)
        return QString();
    switch (*type) {
        case Package::Extractor::ContentType::Import:
            return QStringLiteral("import");
        case Package::Extractor::ContentType::Intro:
            return QStringLiteral("intro");
        case Package::Extractor::ContentType::Overlay:
            return QStringLiteral("overlay");
        case Package::Extractor::ContentType::IntermediateOverlay:
            return QStringLiteral("intermediate overlay");
    }
    return QString::number(qint32(*type));
}

// The files that a reopened context would make a rebuild read from outside the package's folder:
// a local import's file, or the media of an intermediate overlay's timeline. A package names them
// itself, so a damaged or hostile one could point at any of the user's files.
QStringList filesOutside(const Package::AnyBuildContext& context, const QString& folder) {
    const QString root = QDir::cleanPath(folder) + QLatin1Char('/');
    const auto outside = [&](const QString& path) {
        return !path.isEmpty() && !QDir::cleanPath(path).startsWith(root);
    };
    QStringList paths;
    if (const auto* import = std::get_if<0>(&context)) {
        const QString* path = std::get_if<QString>(&import->params.source);
        if (path && outside(*path))
            paths << *path;
    } else if (const auto* overlay = std::get_if<3>(&context)) {
        if (overlay->params.timeline) {
            for (const auto& clip : overlay->params.timeline->clips()) {
                if (outside(clip->media.sourcePath))
                    paths << clip->media.sourcePath;
            }
        }
    }
    return paths;
}

void refuseFilesOutside(const Package::AnyBuildContext& context, const QString& folder,
                        const QString& packagePath) {
    const QStringList paths = filesOutside(context, folder);
    if (!paths.isEmpty())
        throw Error(QStringLiteral("%1: the package names files outside itself (%2); it is not "
                                   "rebuilt from them")
                        .arg(packagePath, paths.join(QStringLiteral(", "))));
}

// Unpacks a package into `folder` and reads its object; the object's name is the folder's.
Package::Object unpack(const QString& packagePath, const QString& folder) {
    return Bundle::openPackage(packagePath, QFileInfo(folder).absoluteFilePath());
}

}  // namespace

int openCommand(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Unpacks a package for editing and shows the build context read back."));
    parser.addPositionalArgument(QStringLiteral("package"), QStringLiteral("The package file."));
    const QCommandLineOption intoOption(QStringLiteral("into"),
                                        QStringLiteral("Unpack into DIR (new or empty; required)."),
                                        QStringLiteral("DIR"));
    const QCommandLineOption jsonOption(QStringLiteral("json"),
                                        QStringLiteral("Print one JSON document."));
    const QCommandLineOption recipeOption(
        QStringLiteral("recipe"),
        QStringLiteral("Write a recipe that builds an equivalent package to FILE (import and "
                       "intermediate overlay packages; an overlay's timeline goes beside it)."),
        QStringLiteral("FILE"));
    parser.addOptions({intoOption, jsonOption, recipeOption});
    if (!parseCommandLine(parser, QStringLiteral("open"), arguments, out, 1,
                          QStringLiteral("one package file")))
        return 0;
    if (!parser.isSet(intoOption))
        throw Error(QStringLiteral("open: --into DIR is required (see packwright open --help)"), 2);

    const QString packagePath = existingPackage(parser.positionalArguments().front());
    const QString folder = QFileInfo(parser.value(intoOption)).absoluteFilePath();
    const bool folderExisted = QFileInfo::exists(folder);
    const Package::Object object = unpack(packagePath, folder);
    // A command that fails leaves no half: what it unpacked goes, and a folder it was given stays.
    auto dropUnpacked = qScopeGuard([&] {
        FS::removeAllAt(folder);
        if (folderExisted)
            QDir().mkdir(folder);
    });
    const auto type = Package::Extractor::extractContentType(&object);
    const Package::AnyBuildContext context = Package::Extractor::extractBuildContext(&object);

    if (parser.isSet(recipeOption)) {
        const QFileInfo recipeFile(parser.value(recipeOption));
        const QString timelineName =
            recipeFile.completeBaseName() + QStringLiteral(".timeline.json");
        refuseFilesOutside(context, folder, packagePath);
        const ContextReport::Recipe recipe = ContextReport::toRecipe(context, timelineName);
        // Both or neither: a recipe must not name a timeline that was not written.
        QList<QPair<QString, QByteArray>> files;
        if (!recipe.timeline.isEmpty())
            files.append({recipeFile.absoluteDir().filePath(timelineName), recipe.timeline});
        files.append({recipeFile.absoluteFilePath(), recipe.json});
        FS::writeFilesAtomically(files);
        for (const QString& line : recipe.omitted)
            err << "packwright: warning: " << timelineName << ": " << line << "\n";
    }
    dropUnpacked.dismiss();

    const QString typeName = contentTypeName(type);
    if (parser.isSet(jsonOption)) {
        const QJsonObject document{
            {QStringLiteral("package"), packagePath},
            {QStringLiteral("folder"), folder},
            {QStringLiteral("contentType"),
             type ? QJsonValue(typeName) : QJsonValue(QJsonValue::Null)},
            {QStringLiteral("buildContext"), ContextReport::toJson(context)}};
        out << QJsonDocument(document).toJson(QJsonDocument::Indented);
    } else {
        out << "opened " << packagePath << " into " << folder << "\n";
        out << "content type: " << (type ? typeName : QStringLiteral("none (not reopenable)"))
            << "\n";
        out << "build context (" << ContextReport::kindName(context) << "):\n";
        QString text = ContextReport::toText(context);
        out << QStringLiteral("  ") + text.trimmed().replace(QLatin1Char('\n'), "\n  ") << "\n";
        if (parser.isSet(recipeOption))
            out << "recipe: " << QFileInfo(parser.value(recipeOption)).absoluteFilePath() << "\n";
    }
    return 0;
}

int finalizeCommand(const QStringList& arguments, QTextStream& out, QTextStream&) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Turns an intermediate overlay package into a finished overlay package."));
    parser.addPositionalArgument(QStringLiteral("package"), QStringLiteral("The package file."));
    const QCommandLineOption outputOption(
        {QStringLiteral("o"), QStringLiteral("output")},
        QStringLiteral("Write DIR/<package name>.qpack (required)."), QStringLiteral("DIR"));
    parser.addOption(outputOption);
    if (!parseCommandLine(parser, QStringLiteral("finalize"), arguments, out, 1,
                          QStringLiteral("one package file")))
        return 0;
    if (!parser.isSet(outputOption))
        throw Error(QStringLiteral("finalize: -o DIR is required (see packwright finalize --help)"),
                    2);

    const QString packagePath = existingPackage(parser.positionalArguments().front());
    const QString outputFolder = QFileInfo(parser.value(outputOption)).absoluteFilePath();
    // The finished package takes the name of the folder it was unpacked into.
    const QString name = QFileInfo(packagePath).completeBaseName();
    const QString built = QDir(outputFolder).filePath(name);
    const QString result = built + QStringLiteral(".qpack");
    for (const QString& path : {built, result}) {
        if (QFileInfo::exists(path))
            throw Error(QStringLiteral("%1: already exists; not overwritten").arg(path));
    }

    QTemporaryDir temporary;
    const Package::Object object = unpack(packagePath, unpackFolder(temporary, name));
    refuseFilesOutside(Package::Extractor::extractBuildContext(&object), object.folder,
                       packagePath);
    const bool createdFolder = !QFileInfo::exists(outputFolder);
    if (!QDir().mkpath(outputFolder))
        throw Error(QStringLiteral("%1: cannot create the folder").arg(outputFolder));
    // A folder made for a package that was not built goes again (rmdir removes only an empty one).
    const auto dropFolder = [&] {
        if (createdFolder)
            QDir().rmdir(outputFolder);
    };
    QString uuid;
    try {
        uuid = Package::finalizeOverlay(&object, outputFolder);
    } catch (...) {
        dropFolder();
        throw;
    }
    if (uuid.isEmpty()) {
        dropFolder();
        const auto type = Package::Extractor::extractContentType(&object);
        throw Error(QStringLiteral("%1: not an intermediate overlay package (content type: %2); "
                                   "nothing was built")
                        .arg(packagePath, type ? contentTypeName(type) : QStringLiteral("none")));
    }
    if (!QFile::rename(built, result))
        throw Error(QStringLiteral("%1: cannot rename the finished package to %2")
                        .arg(built, QFileInfo(result).fileName()));
    out << "finalized " << result << " (uuid " << uuid << ")\n";
    return 0;
}

}  // namespace Cli
