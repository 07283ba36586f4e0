#include "cli/build_command.h"

#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QImageReader>

#include <optional>

#include "cli/checks/recipe_checker.h"
#include "cli/cli_error.h"
#include "cli/command_line.h"
#include "cli/component_factory.h"
#include "cli/input_guard.h"
#include "cli/labelled_component.h"
#include "cli/progress.h"
#include "cli/recipe.h"
#include "package/builder.h"
#include "platform/fs/fs.h"
#include "platform/fs/temporary_folder.h"
#include "platform/layout/package_structure_description.h"
#include "platform/media/media_log.h"

namespace Cli {
namespace {

QPixmap loadPreview(const Recipe& recipe) {
    if (recipe.previewPath.isEmpty()) {
        QPixmap grey(80, 80);
        grey.fill(Qt::gray);
        return grey;
    }
    QImageReader reader(recipe.previewPath);
    const QImage image = reader.read();
    if (image.isNull())
        throw Error(QStringLiteral("%1: preview: cannot read the image %2: %3")
                        .arg(recipe.path, recipe.previewPath, reader.errorString()));
    return QPixmap::fromImage(image);
}

QString defaultOutput(const Recipe& recipe) {
    return recipe.resolve(recipe.name + QLatin1Char('.') + Settings::packageExtension());
}

}  // namespace

int buildCommand(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Builds a package from a JSON recipe."));
    parser.addPositionalArgument(QStringLiteral("recipe"),
                                 QStringLiteral("The recipe file (JSON)."));
    const QCommandLineOption outputOption({QStringLiteral("o"), QStringLiteral("output")},
                                          QStringLiteral("Write the package to FILE."),
                                          QStringLiteral("FILE"));
    const QCommandLineOption uuidOption(QStringLiteral("uuid"),
                                        QStringLiteral("The package id (default: generated)."),
                                        QStringLiteral("ID"));
    const QCommandLineOption keepOption(
        QStringLiteral("keep-work"),
        QStringLiteral("Lay the working folder out in DIR and keep it."), QStringLiteral("DIR"));
    const QCommandLineOption strictOption(
        QStringLiteral("strict"),
        QStringLiteral("Treat warnings (missing source files) as errors."));
    const QCommandLineOption verboseOption(
        {QStringLiteral("v"), QStringLiteral("verbose")},
        QStringLiteral("Show the media decoder's own messages as warnings."));
    const QCommandLineOption noChecksOption(
        QStringLiteral("no-checks"),
        QStringLiteral("Skip the content checks of LUTs, shaders, media and resource names."));
    parser.addOptions(
        {outputOption, uuidOption, keepOption, strictOption, verboseOption, noChecksOption});
    if (!parseCommandLine(parser, QStringLiteral("build"), arguments, out, 1,
                          QStringLiteral("one recipe file")))
        return 0;

    Progress progress;
    Recipe recipe = Recipe::load(parser.positionalArguments().front());
    if (parser.isSet(uuidOption))
        recipe.uuid = parser.value(uuidOption);  // the components' ids derive from it
    const QPixmap preview = loadPreview(recipe);
    QString outputPath =
        parser.isSet(outputOption) ? parser.value(outputOption) : recipe.outputPath;
    if (outputPath.isEmpty())
        outputPath = defaultOutput(recipe);
    outputPath = QFileInfo(outputPath).absoluteFilePath();
    if (QFileInfo(outputPath).isDir())
        throw Error(
            QStringLiteral("%1: the output is a folder, not a package file").arg(outputPath));
    const QString uuid = parser.isSet(uuidOption) ? parser.value(uuidOption) : recipe.uuid;

    // Every component is made before anything is written, so a broken entry stops the build early.
    QStringList warnings;
    std::vector<std::shared_ptr<Package::IBuildComponent>> components;
    for (const ComponentEntry& entry : recipe.components)
        components.push_back(std::make_shared<LabelledComponent>(
            ComponentFactory::standard().make(entry, recipe, warnings),
            QStringLiteral("%1: components[%2]").arg(recipe.path, QString::number(entry.index))));
    refuseOutputOverInput(outputPath, recipe.inputs(), QStringLiteral("the output"));
    if (parser.isSet(strictOption) && !warnings.isEmpty())
        throw Error(warnings.front() + QStringLiteral(" (--strict: nothing was written)"));
    for (const QString& warning : warnings)
        err << "packwright: warning: " << warning << "\n";
    // The content checks (docs/checks.md): their errors, and with --strict their warnings, stop
    // the build before anything is written.
    CheckReport checks;
    if (!parser.isSet(noChecksOption))
        RecipeChecker::check(recipe, checks);
    for (const Finding& finding : checks.findings())
        err << "packwright: " << finding.toText(recipe.path) << "\n";
    err.flush();
    const int stopping = checks.count(Finding::Error) +
                         (parser.isSet(strictOption) ? checks.count(Finding::Warning) : 0);
    if (stopping > 0)
        throw Error(
            QStringLiteral("%1: the content checks found %2 %3: nothing was written")
                .arg(recipe.path)
                .arg(stopping)
                .arg(stopping == 1 ? QStringLiteral("problem") : QStringLiteral("problems")));

    if (!FS::makePath(QFileInfo(outputPath).absolutePath()))
        throw Error(QStringLiteral("%1: cannot create the output's folder").arg(outputPath));
    // What an earlier run killed without a chance to clean up (a partial package) goes now.
    FS::removeStaleTemporaries(QFileInfo(outputPath).absolutePath());

    // The working folder is named after the package (it becomes the package's name when reopened)
    // and sits one level down in its area, so that siblings such as "../build" stay in the area
    // too.
    // Made only without --keep-work; a signal removes it with everything in it.
    std::optional<FS::TemporaryFolder> temporary;
    QString area;
    if (parser.isSet(keepOption)) {
        area = QFileInfo(parser.value(keepOption)).absoluteFilePath();
        if (QDir(area).exists() &&
            !QDir(area).isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden))
            throw Error(
                QStringLiteral("%1: --keep-work needs a folder that is empty or does not exist")
                    .arg(area));
    } else {
        temporary.emplace(QStringLiteral("work"));
        if (!temporary->isValid())
            throw Error(QStringLiteral("cannot create a temporary folder: %1")
                            .arg(temporary->errorString()));
        area = temporary->path();
    }
    const QString folder = area + QLatin1Char('/') + recipe.name;
    Recipe::checkWorkingFolder(
        parser.isSet(keepOption) ? QStringLiteral("--keep-work") : QStringLiteral("working folder"),
        folder);
    if (!FS::makePath(folder))
        throw Error(QStringLiteral("%1: cannot create the working folder").arg(folder));

    struct MediaLogGuard {
        Media::Log::Handler previous;
        ~MediaLogGuard() { Media::Log::setHandler(std::move(previous)); }
    } mediaLog;
    if (parser.isSet(verboseOption)) {
        mediaLog.previous = Media::Log::setHandler([&err](const QString& line) {
            err << "packwright: warning: " << line << "\n";
            err.flush();
        });
    }

    Package::Builder builder(folder, outputPath, recipe.name, recipe.name, preview);
    for (const auto& component : components)
        builder.setupBuildComponent(component);
    Bundle::Zip::PackOptions packOptions;
    if (progress.enabled()) {
        packOptions.progress = [&progress](double done) {
            progress.show(QStringLiteral("packing %1%").arg(int(done * 100)));
            return true;
        };
    }
    builder.setPackOptions(packOptions);
    progress.show(
        QStringLiteral("building %1 (%2 components)").arg(recipe.name).arg(components.size()));
    builder.build(uuid);
    progress.done();

    out << "built " << QDir::toNativeSeparators(outputPath) << " (" << QFileInfo(outputPath).size()
        << " bytes, " << components.size()
        << (components.size() == 1 ? " component" : " components") << ")\n";
    if (parser.isSet(keepOption))
        out << "working folder kept at " << QDir::toNativeSeparators(folder) << "\n";
    return 0;
}

}  // namespace Cli
