#include "cli/open_command.h"

#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstring>

#include "cli/cli_error.h"
#include "cli/command_line.h"
#include "cli/context_report.h"
#include "cli/file_hash.h"
#include "cli/finalize_check.h"
#include "cli/finalize_scope.h"
#include "cli/input_guard.h"
#include "cli/package_recipe.h"
#include "cli/recipe.h"
#include "cli/reproducible_build.h"
#include "cli/standard_streams.h"
#include "cli/terminal_text.h"
#include "cli/verbosity.h"
#include "package/components/overlays/finalize_overlay.h"
#include "package/extractor/extractor.h"
#include "platform/bundle/package_reader.h"
#include "platform/fs/atomic_file.h"
#include "platform/fs/env.h"
#include "platform/fs/temporary_folder.h"
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
            return QStringLiteral("intermediate-overlay");
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

// Unpacks a package into `folder` and reads its object and its description.
Package::Object unpack(const QString& packagePath, const QString& folder,
                       Bundle::PackageManifest* manifest) {
    return Bundle::openPackage(packagePath, QFileInfo(folder).absoluteFilePath(), manifest);
}

// A rebuilt context takes its name from the folder it was read from, whose base name loses
// everything after a last dot ("Beach v1.2" reads back as "Beach v1"); the package's own name is
// the one in its description.
void nameAfterPackage(Package::AnyBuildContext& context, const QString& name) {
    std::visit(
        [&](auto& rebuilt) {
            if (!rebuilt.name.isEmpty())
                rebuilt.name = name;
        },
        context);
}

// Refuses a package name that cannot name a package file or a recipe.
void requireUsableName(const QString& packagePath, const QString& name, const QString& use) {
    const QString problem = Recipe::nameProblem(name);
    if (!problem.isEmpty())
        throw Error(QStringLiteral("%1: the package's name cannot name %2: %3")
                        .arg(packagePath, use, problem));
}

// Removes what a failed open made: the folder when it did not exist, else what was put into it
// (it was empty), and the recipe files that it wrote.
class OpenCleanup {
public:
    explicit OpenCleanup(const QString& folder)
        : m_folder(folder), m_folderExisted(QFileInfo::exists(folder)) {
        m_fresh = !m_folderExisted ||
                  (QFileInfo(folder).isDir() &&
                   QDir(folder).isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden));
        if (!m_folderExisted)
            m_registration.reset(folder);
    }
    ~OpenCleanup() {
        if (m_committed)
            return;
        for (const QString& file : m_files)
            FS::removeAllAt(file);
        if (!m_fresh)
            return;  // not ours to touch: the unpacking refused it before writing
        if (!m_folderExisted) {
            FS::removeAllAt(m_folder);
            return;
        }
        const QDir dir(m_folder);
        for (const QString& entry :
             dir.entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System))
            FS::removeAllAt(dir.filePath(entry));
    }
    OpenCleanup(const OpenCleanup&) = delete;
    OpenCleanup& operator=(const OpenCleanup&) = delete;

    // A file about to be written; removed on failure unless it was there before.
    void writing(const QString& file) {
        if (!QFileInfo::exists(file))
            m_files << file;
    }
    void commit() { m_committed = true; }

private:
    QString m_folder;
    bool m_folderExisted = false;
    bool m_fresh = false;
    bool m_committed = false;
    QStringList m_files;
    FS::TemporaryPath m_registration;
};

}  // namespace

int openCommand(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Unpacks a package for editing and shows the build context read back."));
    parser.addPositionalArgument(QStringLiteral("package"), QStringLiteral("The package file."));
    const QCommandLineOption intoOption({QStringLiteral("C"), QStringLiteral("into")},
                                        QStringLiteral("Unpack into DIR (new or empty; required)."),
                                        QStringLiteral("DIR"));
    const QCommandLineOption jsonOption(QStringLiteral("json"),
                                        QStringLiteral("Print one JSON document."));
    const QCommandLineOption recipeOption(
        QStringLiteral("recipe"),
        QStringLiteral("Write a recipe that builds the package again to FILE (an intro's or "
                       "intermediate overlay's timeline goes beside it), or to the standard "
                       "output for - (its paths then relative to the current folder)."),
        QStringLiteral("FILE"));
    const QCommandLineOption forceOption(
        QStringLiteral("force"), QStringLiteral("Replace the recipe files when they exist."));
    parser.addOptions({intoOption, jsonOption, recipeOption, forceOption});
    if (!parseCommandLine(parser, QStringLiteral("open"), arguments, out, 1,
                          QStringLiteral("one package file")))
        return 0;
    if (!parser.isSet(intoOption))
        throw Error(QStringLiteral("open: --into DIR is required (see packwright open --help)"), 2);

    const bool recipeToStandardOutput = StandardStreams::isDash(parser.value(recipeOption));
    if (recipeToStandardOutput && parser.isSet(jsonOption))
        throw Error(QStringLiteral("open: --recipe - and --json both write to the standard output"),
                    2);
    const QString packagePath = existingPackage(parser.positionalArguments().front());
    const QString folder = QFileInfo(parser.value(intoOption)).absoluteFilePath();
    if (parser.isSet(recipeOption) && !recipeToStandardOutput) {
        const QFileInfo recipeFile(parser.value(recipeOption));
        for (const QString& output :
             {recipeFile.absoluteFilePath(),
              recipeFile.absoluteDir().filePath(recipeFile.completeBaseName() +
                                                QStringLiteral(".timeline.json"))})
            refuseOutputOverInput(output, {packagePath}, QStringLiteral("--recipe"));
        refuseExisting(recipeFile.absoluteFilePath(), parser.isSet(forceOption));
    }
    OpenCleanup cleanup(folder);
    QByteArray recipeText;  // for the standard output
    Bundle::PackageManifest manifest;
    const Package::Object object = unpack(packagePath, folder, &manifest);
    const auto type = Package::Extractor::extractContentType(&object);
    Package::AnyBuildContext context = Package::Extractor::extractBuildContext(&object);
    nameAfterPackage(context, manifest.name);

    if (parser.isSet(recipeOption)) {
        const QFileInfo recipeFile(parser.value(recipeOption));
        refuseFilesOutside(context, folder, packagePath);
        requireUsableName(packagePath, manifest.name, QStringLiteral("a recipe"));
        const PackageRecipe recipe =
            PackageRecipe::read(object, manifest, recipeFile.absoluteFilePath(), packagePath);
        for (const QString& line : recipe.warnings)
            err << "packwright: warning: " << terminalSafe(line) << "\n";
        if (recipe.carriesNothing())
            throw Error(QStringLiteral("%1: nothing in the package can be carried into a recipe; "
                                       "no recipe was written")
                            .arg(packagePath));
        // Both or neither: a recipe must not name a timeline that was not written.
        QList<QPair<QString, QByteArray>> files;
        if (!recipe.timeline.isEmpty())
            files.append(
                {recipeFile.absoluteDir().filePath(recipe.timelineFileName), recipe.timeline});
        for (const auto& overlay : recipe.overlayTimelines)
            files.append({recipeFile.absoluteDir().filePath(overlay.first), overlay.second});
        if (recipeToStandardOutput) {
            // One stream holds one file: the timelines would have nowhere to go.
            if (!files.isEmpty())
                throw Error(QStringLiteral("%1: the recipe needs timeline files beside it (%2); "
                                           "give --recipe FILE rather than -")
                                .arg(packagePath, files.front().first));
            recipeText = recipe.json;
        } else {
            files.append({recipeFile.absoluteFilePath(), recipe.json});
            for (const auto& file : files) {
                refuseOutputOverInput(file.first, {packagePath}, QStringLiteral("--recipe"));
                refuseExisting(file.first, parser.isSet(forceOption));
            }
            for (const auto& file : files)
                cleanup.writing(file.first);
            FS::writeFilesAtomically(files);
        }
    }
    cleanup.commit();
    QTextStream& report = recipeToStandardOutput ? err : out;
    if (recipeToStandardOutput)
        StandardStreams::write(recipeText, out);

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
        report << "opened " << terminalSafe(packagePath) << " into " << terminalSafe(folder)
               << "\n";
        report << "content type: " << (type ? typeName : QStringLiteral("none (not reopenable)"))
               << "\n";
        report << "build context (" << ContextReport::kindName(context) << "):\n";
        QString text = ContextReport::toText(context);
        report << QStringLiteral("  ") + text.trimmed().replace(QLatin1Char('\n'), "\n  ") << "\n";
        if (parser.isSet(recipeOption))
            report << "recipe: "
                   << (recipeToStandardOutput
                           ? QStringLiteral("the standard output")
                           : QFileInfo(parser.value(recipeOption)).absoluteFilePath())
                   << "\n";
    }
    return 0;
}

int finalizeCommand(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Turns an intermediate overlay package into a finished overlay package."));
    parser.addPositionalArgument(QStringLiteral("package"), QStringLiteral("The package file."));
    const QCommandLineOption intoOption(
        {QStringLiteral("C"), QStringLiteral("into")},
        QStringLiteral("Write DIR/<package name>.qpack (required)."), QStringLiteral("DIR"));
    const QCommandLineOption oldOutputOption({QStringLiteral("o"), QStringLiteral("output")},
                                             QStringLiteral("The old spelling of -C DIR."),
                                             QStringLiteral("DIR"));
    const QCommandLineOption forceOption(
        QStringLiteral("force"),
        QStringLiteral("Replace DIR/<package name>.qpack when it exists."));
    const QCommandLineOption jsonOption(
        QStringLiteral("json"),
        QStringLiteral("Report the package as JSON (path, uuid, size, SHA-256, warnings)."));
    parser.addOptions({intoOption, oldOutputOption, forceOption, jsonOption});
    if (!parseCommandLine(parser, QStringLiteral("finalize"), arguments, out, 1,
                          QStringLiteral("one package file")))
        return 0;
    QStringList warnings;
    QString into = parser.value(intoOption);
    if (parser.isSet(oldOutputOption)) {
        if (parser.isSet(intoOption))
            throw Error(QStringLiteral("finalize: give -C DIR or its old spelling -o DIR, not "
                                       "both"),
                        2);
        into = parser.value(oldOutputOption);
        warnings << QStringLiteral("finalize: -o DIR is the old spelling of -C DIR (--into DIR)");
        err << "packwright: warning: " << warnings.back() << "\n";
    }
    if (into.isEmpty())
        throw Error(QStringLiteral("finalize: -C DIR is required (see packwright finalize --help)"),
                    2);
    // With SOURCE_DATE_EPOCH, the finished package's bytes are fixed as a build's are.
    const std::optional<qint64> fixedTime = ReproducibleBuild::fixedTime(false);
    if (fixedTime)
        ReproducibleBuild::useUniversalTime();

    const QString packagePath = existingPackage(parser.positionalArguments().front());
    const QString outputFolder = QFileInfo(into).absoluteFilePath();

    FS::TemporaryFolder temporary(QStringLiteral("unpack"));
    Bundle::PackageManifest manifest;
    Package::Object object = unpack(packagePath, unpackFolder(temporary), &manifest);
    // The finished package is named after the package's own name, whatever its file is called.
    const QString name = manifest.name;
    requireUsableName(packagePath, name, QStringLiteral("a package file"));
    const QString built = QDir(outputFolder).filePath(name);
    const QString result = built + QStringLiteral(".qpack");
    Recipe::checkWorkingFolder(QStringLiteral("-C"), built);
    // The package is built at DIR/NAME, which is never ours to replace.
    if (QFileInfo::exists(built))
        throw Error(QStringLiteral("%1: already exists; not overwritten").arg(built));
    refuseExisting(result, parser.isSet(forceOption));
    // The finalized package takes the base name of the folder it was read from, which drops the
    // last suffix only: "<name>.qpack" gives back the name exactly, dots and all.
    const QString named = unpackFolder(temporary, name + QStringLiteral(".qpack"));
    if (!QDir().rename(object.folder, named))
        throw Error(QStringLiteral("%1: cannot rename the unpacked package").arg(object.folder));
    object.folder = named;
    refuseFilesOutside(Package::Extractor::extractBuildContext(&object), object.folder,
                       packagePath);
    checkFinalizable(object, packagePath);
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
        const FinalizeScope scope(manifest.uuid, fixedTime);
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
    // rename(2) replaces a package that --force allows, in one step.
    if (const int code = FS::Env::current().rename(built, result)) {
        FS::removeAllAt(built);
        dropFolder();
        throw Error(QStringLiteral("%1: cannot rename the finished package to %2: %3")
                        .arg(built, QFileInfo(result).fileName(),
                             QString::fromLocal8Bit(std::strerror(code))));
    }
    if (parser.isSet(jsonOption)) {
        const QJsonObject document{
            {QStringLiteral("source"), packagePath},
            {QStringLiteral("package"), result},
            {QStringLiteral("uuid"), uuid},
            {QStringLiteral("sha256"), sha256Of(result)},
            {QStringLiteral("bytes"), double(QFileInfo(result).size())},
            {QStringLiteral("warnings"), QJsonArray::fromStringList(warnings)}};
        out << QJsonDocument(document).toJson(QJsonDocument::Indented);
    } else if (!Verbosity::quiet()) {
        out << "finalized " << result << " (uuid " << uuid << ")\n";
    }
    return 0;
}

}  // namespace Cli
