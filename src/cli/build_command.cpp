#include "cli/build_command.h"
#include "cli/build_batch.h"

#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QImageReader>

#include <algorithm>
#include <optional>

#include "cli/checks/check_cache.h"
#include "cli/checks/recipe_checker.h"
#include "cli/cli_error.h"
#include "cli/command_line.h"
#include "cli/component_factory.h"
#include "cli/file_hash.h"
#include "cli/input_guard.h"
#include "cli/labelled_component.h"
#include "cli/progress.h"
#include "cli/recipe.h"
#include "cli/reproducible_build.h"
#include "cli/standard_streams.h"
#include "cli/verbosity.h"
#include "package/builder.h"
#include "platform/fs/fs.h"
#include "platform/fs/scratch_area.h"
#include "platform/fs/temporary_folder.h"
#include "platform/layout/package_structure_description.h"
#include "platform/media/media_log.h"
#include "platform/model/build_clock.h"
#include "platform/model/id_source.h"

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
        throw Error(QStringLiteral("%1: previewPath: cannot read the image %2: %3")
                        .arg(recipe.path, recipe.previewPath, reader.errorString()));
    return QPixmap::fromImage(image);
}

// The recipe's text, from its file or, for "-", from the standard input.
QByteArray recipeText(const QString& argument) {
    if (StandardStreams::isDash(argument))
        return StandardStreams::readInput();
    QFile file(argument);
    if (!file.open(QIODevice::ReadOnly))
        throw Error(
            QStringLiteral("%1: cannot read the recipe: %2").arg(argument, file.errorString()));
    return file.readAll();
}

}  // namespace

Recipe loadRecipe(const QString& argument) {
    // A recipe from the standard input has a name with no folder: its paths resolve against the
    // current one.
    return Recipe::parse(recipeText(argument), StandardStreams::isDash(argument)
                                                   ? StandardStreams::inputName()
                                                   : argument);
}

QString outputOf(const Recipe& recipe) {
    if (!recipe.outputPath.isEmpty())
        return recipe.outputPath;
    return recipe.resolve(recipe.name + QLatin1Char('.') + Settings::packageExtension());
}

Built buildOne(const QString& recipePath, const BuildSettings& settings, QTextStream& err) {
    Progress progress = settings.progress ? Progress() : Progress(false);
    const ScopedBuildClock clock(settings.fixedTime);
    const QByteArray text = recipeText(recipePath);
    Recipe recipe = Recipe::parse(
        text, StandardStreams::isDash(recipePath) ? StandardStreams::inputName() : recipePath);
    if (!settings.uuid.isEmpty())
        recipe.uuid = settings.uuid;  // the components' ids derive from it
    else if (settings.fixedTime && recipe.uuid.isEmpty())
        recipe.uuid = ReproducibleBuild::recipeUuid(text).toString();

    const QPixmap preview = loadPreview(recipe);
    QString outputPath = settings.output.isEmpty() ? outputOf(recipe) : settings.output;
    outputPath = QFileInfo(outputPath).absoluteFilePath();
    if (QFileInfo(outputPath).isDir())
        throw Error(
            QStringLiteral("%1: the output is a folder, not a package file").arg(outputPath));
    // Made here rather than by the builder so that the report can name it.
    QString uuid = settings.uuid.isEmpty() ? recipe.uuid : settings.uuid;
    if (uuid.isEmpty())
        uuid = IdSource::current().newUuid().toString();

    // Every component is made before anything is written, so a broken entry stops the build early.
    QStringList warnings;
    std::vector<std::shared_ptr<Package::IBuildComponent>> components;
    for (const ComponentEntry& entry : recipe.components)
        components.push_back(std::make_shared<LabelledComponent>(
            ComponentFactory::standard().make(entry, recipe, warnings),
            QStringLiteral("%1: components[%2]").arg(recipe.path, QString::number(entry.index))));
    refuseOutputOverInput(outputPath, recipe.inputs(), QStringLiteral("the output"));
    // A recipe's own output is its product, rebuilt in place; a file named on the command line
    // may be anything.
    if (!settings.output.isEmpty())
        refuseExisting(outputPath, settings.force);
    if (settings.strict && !warnings.isEmpty())
        throw Error(warnings.front() + QStringLiteral(" (--strict: nothing was written)"));
    for (const QString& warning : warnings)
        err << "packwright: warning: " << warning << "\n";
    QStringList reported = warnings;
    // The content checks (docs/checks.md): their errors, and with --strict their warnings, stop
    // the build before anything is written.
    CheckReport checks;
    if (settings.checks) {
        // The media decoder's warnings come only from checks that run: -v checks afresh.
        const CheckCache cache(
            settings.checkCache && !Verbosity::verbose() ? CheckCache::defaultFolder() : QString());
        RecipeChecker::check(recipe, checks, 0, &cache);
    }
    for (const Finding& finding : checks.findings()) {
        err << "packwright: " << finding.toText(recipe.path) << "\n";
        if (finding.severity == Finding::Warning)
            reported << finding.toText(recipe.path);
    }
    err.flush();
    const int stopping =
        checks.count(Finding::Error) + (settings.strict ? checks.count(Finding::Warning) : 0);
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
    std::optional<FS::ScratchArea> scratch;
    QString area;
    if (!settings.keepWork.isEmpty()) {
        area = QFileInfo(settings.keepWork).absoluteFilePath();
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
        // Private to this build and removed after it: resources may be links to their sources.
        // A kept working folder gets real copies, since the user may edit it.
        scratch.emplace(area);
    }
    const QString folder = area + QLatin1Char('/') + recipe.name;
    Recipe::checkWorkingFolder(settings.keepWork.isEmpty() ? QStringLiteral("working folder")
                                                           : QStringLiteral("--keep-work"),
                               folder);
    if (!FS::makePath(folder))
        throw Error(QStringLiteral("%1: cannot create the working folder").arg(folder));

    struct MediaLogGuard {
        Media::Log::Handler previous;
        ~MediaLogGuard() { Media::Log::setHandler(std::move(previous)); }
    } mediaLog;
    if (settings.verbose) {
        mediaLog.previous = Media::Log::setHandler([&err, &reported](const QString& line) {
            reported << line;
            err << "packwright: warning: " << line << "\n";
            err.flush();
        });
    }

    Package::Builder builder(folder, outputPath, recipe.name, recipe.name, preview);
    for (const auto& component : components)
        builder.setupBuildComponent(component);
    Bundle::Zip::PackOptions packOptions;
    if (progress.enabled()) {
        // The packer counts in fractions; the folder is complete once it starts, so its size
        // turns them into bytes.
        packOptions.progress = [&progress, &folder, &recipe,
                                total = qint64(-1)](double done) mutable {
            if (total < 0)
                total = std::max<qint64>(FS::pathSize(folder), 1);
            progress.showBytes(QStringLiteral("packing ") + recipe.name, qint64(done * total),
                               total);
            return true;
        };
    }
    builder.setPackOptions(packOptions);
    progress.show(QStringLiteral("building %1 (%2 %3)")
                      .arg(recipe.name)
                      .arg(components.size())
                      .arg(components.size() == 1 ? QStringLiteral("component")
                                                  : QStringLiteral("components")));
    builder.build(uuid);
    progress.done();

    Built built;
    built.package = outputPath;
    built.uuid = uuid;
    // Reading the package back costs about as much as deflating it: only when it is reported.
    if (settings.hash)
        built.sha256 = sha256Of(outputPath);
    built.bytes = QFileInfo(outputPath).size();
    built.components = int(components.size());
    built.warnings = reported;
    if (!settings.keepWork.isEmpty())
        built.workingFolder = folder;
    return built;
}

int buildCommand(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Builds a package from each JSON recipe; several, N at a time."));
    parser.addPositionalArgument(
        QStringLiteral("recipes"),
        QStringLiteral("The recipe files (JSON); - reads one from the standard input."),
        QStringLiteral("RECIPE.json..."));
    const QCommandLineOption outputOption(
        {QStringLiteral("o"), QStringLiteral("output")},
        QStringLiteral("Write the package to FILE, or to the standard output for - (one recipe "
                       "only)."),
        QStringLiteral("FILE"));
    const QCommandLineOption forceOption(QStringLiteral("force"),
                                         QStringLiteral("Replace the -o FILE when it exists."));
    const QCommandLineOption uuidOption(
        QStringLiteral("uuid"),
        QStringLiteral("The package id (default: generated; one recipe only)."),
        QStringLiteral("ID"));
    const QCommandLineOption keepOption(
        QStringLiteral("keep-work"),
        QStringLiteral("Lay the working folder out in DIR and keep it (one recipe only)."),
        QStringLiteral("DIR"));
    const QCommandLineOption strictOption(
        QStringLiteral("strict"),
        QStringLiteral("Treat warnings (missing source files) as errors."));
    const QCommandLineOption verboseOption(
        {QStringLiteral("v"), QStringLiteral("verbose")},
        QStringLiteral("Show the media decoder's own messages as warnings."));
    const QCommandLineOption noChecksOption(
        QStringLiteral("no-checks"),
        QStringLiteral("Skip the content checks of LUTs, shaders, media and resource names."));
    const QCommandLineOption noCacheOption(
        QStringLiteral("no-cache"),
        QStringLiteral("Check every file again, without the findings kept from earlier runs."));
    const QCommandLineOption jobsOption(
        {QStringLiteral("j"), QStringLiteral("jobs")},
        QStringLiteral("Build N packages at a time (default: one per core)."), QStringLiteral("N"));
    const QCommandLineOption jsonOption(
        QStringLiteral("json"),
        QStringLiteral("Report the packages as JSON (path, uuid, size, SHA-256, warnings)."));
    const QCommandLineOption hashOption(QStringLiteral("print-hash"),
                                        QStringLiteral("Name each package's SHA-256."));
    const QCommandLineOption reproducibleOption(
        QStringLiteral("reproducible"),
        QStringLiteral("Make the package a function of the recipe and its files: fixed time stamps "
                       "(SOURCE_DATE_EPOCH, else 1980-01-01) and ids derived from the recipe."));
    parser.addOptions({outputOption, forceOption, uuidOption, keepOption, strictOption,
                       verboseOption, noChecksOption, noCacheOption, jobsOption, jsonOption,
                       hashOption, reproducibleOption});
    if (!parseCommandLine(parser, QStringLiteral("build"), arguments, out, -1,
                          QStringLiteral("a recipe file")))
        return 0;

    BuildSettings settings;
    settings.output = parser.value(outputOption);
    settings.uuid = parser.value(uuidOption);
    settings.keepWork = parser.value(keepOption);
    settings.strict = parser.isSet(strictOption);
    settings.verbose = parser.isSet(verboseOption);
    settings.checks = !parser.isSet(noChecksOption);
    settings.checkCache = !parser.isSet(noCacheOption);
    settings.printHash = parser.isSet(hashOption);
    settings.force = parser.isSet(forceOption);
    settings.fixedTime = ReproducibleBuild::fixedTime(parser.isSet(reproducibleOption));
    if (settings.fixedTime)
        ReproducibleBuild::useUniversalTime();  // before any build's thread starts
    const QStringList recipes = parser.positionalArguments();
    if (recipes.size() > 1 && recipes.contains(QStringLiteral("-")))
        throw Error(QStringLiteral("build: - (the recipe on standard input) must be the only "
                                   "recipe"),
                    2);
    int jobs = 0;
    if (parser.isSet(jobsOption)) {
        bool ok = false;
        jobs = parser.value(jobsOption).toInt(&ok);
        if (!ok || jobs < 1)
            throw Error(QStringLiteral("build: -j needs a whole number of at least 1, not '%1'")
                            .arg(parser.value(jobsOption)),
                        2);
    }

    const bool toStandardOutput = StandardStreams::isDash(settings.output);
    if (toStandardOutput && parser.isSet(jsonOption))
        throw Error(QStringLiteral("build: -o - and --json both write to the standard output"), 2);
    if (recipes.size() == 1 && !parser.isSet(jsonOption)) {
        settings.hash = settings.printHash;
        // The package is made whole in a temporary file before a byte of it is sent.
        std::optional<FS::TemporaryFolder> temporary;
        if (toStandardOutput) {
            StandardStreams::refuseTerminal(QStringLiteral("build"), QStringLiteral("a package"));
            temporary.emplace(QStringLiteral("stdout"));
            settings.output = unpackFolder(*temporary, QStringLiteral("package.qpack"));
        }
        const Built built = buildOne(recipes.front(), settings, err);
        QTextStream& report = toStandardOutput ? err : out;
        const QString shown = toStandardOutput ? QStringLiteral("the standard output")
                                               : QDir::toNativeSeparators(built.package);
        if (toStandardOutput)
            StandardStreams::writeFile(built.package, out);
        if (!Verbosity::quiet())
            report << "built " << shown << " (" << built.bytes << " bytes, " << built.components
                   << (built.components == 1 ? " component" : " components") << ")\n";
        if (settings.printHash)
            report << "sha256 " << built.sha256 << "  " << (toStandardOutput ? "-" : shown) << "\n";
        if (!built.workingFolder.isEmpty() && !Verbosity::quiet())
            report << "working folder kept at " << QDir::toNativeSeparators(built.workingFolder)
                   << "\n";
        return 0;
    }
    // Each package goes where its recipe says: one output, id or working folder cannot serve many.
    if (recipes.size() > 1) {
        for (const QCommandLineOption* option : {&outputOption, &uuidOption, &keepOption}) {
            if (parser.isSet(*option))
                throw Error(QStringLiteral("build: --%1 takes one recipe, not %2 (each package "
                                           "goes where its recipe says)")
                                .arg(option->names().back())
                                .arg(recipes.size()),
                            2);
        }
    }
    settings.progress = false;
    const BatchBuild::Results results = BatchBuild(settings, jobs).run(recipes, err);
    const int failures = BatchBuild::failures(results);
    // Quiet, a batch that went well says nothing but what was asked for.
    if (!Verbosity::quiet() || failures > 0 || parser.isSet(jsonOption) || settings.printHash)
        BatchBuild::report(results, parser.isSet(jsonOption), settings.printHash, out);
    return failures > 0 ? 1 : 0;
}

}  // namespace Cli
