#include "cli/import_kinds.h"

#include <QFileInfo>

#include "cli/cli_error.h"
#include "cli/component_factory.h"
#include "cli/component_fields.h"
#include "cli/timeline_file.h"
#include "package/components/imports/import_build_component.h"
#include "package/components/imports/intro_build_component.h"

namespace Cli {
namespace {

const QStringList importKinds = {QStringLiteral("video"), QStringLiteral("image"),
                                 QStringLiteral("audio"), QStringLiteral("other")};

std::shared_ptr<Package::IBuildComponent> makeImport(const ComponentEntry& entry,
                                                     const Recipe& recipe, QStringList& warnings) {
    ComponentFields fields(entry, recipe, warnings);
    Package::ImportParams params;
    const bool local = fields.has(QStringLiteral("file"));
    const bool remote =
        fields.has(QStringLiteral("remoteUrl")) || fields.has(QStringLiteral("packageName"));
    if (local == remote)
        fields.fail(QStringLiteral("file"),
                    local
                        ? QStringLiteral("give either a file or a remoteUrl and packageName")
                        : QStringLiteral("missing (give a file, or a remoteUrl and packageName)"));
    if (local) {
        params.source = fields.sourceFile(QStringLiteral("file"), true);
    } else {
        Package::RemoteSource source;
        source.remoteUrl = fields.text(QStringLiteral("remoteUrl"), true);
        source.packageName = fields.text(QStringLiteral("packageName"), true);
        if (source.remoteUrl.isEmpty())
            fields.fail(QStringLiteral("remoteUrl"), QStringLiteral("must not be empty"));
        if (source.packageName.isEmpty() || source.packageName.contains(QLatin1Char('/')) ||
            source.packageName.contains(QLatin1Char('\\')))
            fields.fail(QStringLiteral("packageName"),
                        QStringLiteral("must be a package's base name, without folders"));
        params.source = source;
    }
    params.importType = Package::ImportType(
        fields.choice(QStringLiteral("importKind"), importKinds, Package::VideoImport));
    params.primaryText = fields.text(QStringLiteral("title"));
    params.secondaryText = fields.text(QStringLiteral("description"));
    auto component = std::make_shared<Package::ImportBuildComponent>(params);
    fields.applyMetadata(*component);
    fields.finish();
    return component;
}

std::shared_ptr<Package::IBuildComponent> makeIntro(const ComponentEntry& entry,
                                                    const Recipe& recipe, QStringList& warnings) {
    ComponentFields fields(entry, recipe, warnings);
    // Every intro of a package is written to the same bundle, so a second one would replace the
    // first.
    for (const ComponentEntry& other : recipe.components) {
        if (other.index < entry.index && other.kind == entry.kind)
            fields.fail(QStringLiteral("kind"),
                        QStringLiteral("a package holds one intro at most (components[%1] is one)")
                            .arg(other.index));
    }
    const QString given = fields.text(QStringLiteral("timeline"), true);
    const QString path = recipe.resolve(given);
    if (!QFileInfo(path).isFile())
        fields.fail(QStringLiteral("timeline"), QStringLiteral("no such file: %1").arg(path));
    Package::IntroParams params;
    params.timeline =
        params.timelineStorage.adopt(std::make_unique<Timeline::Object>(TimelineFile::load(path)));
    for (const auto& clip : params.timeline->clips()) {
        const QString media = clip->media.sourcePath;
        if (!media.isEmpty() && !QFileInfo(media).isFile())
            warnings << QStringLiteral("%1: %2: no such media file: %3")
                            .arg(fields.where(QStringLiteral("timeline")), path, media);
    }
    params.primaryText = fields.text(QStringLiteral("title"));
    params.secondaryText = fields.text(QStringLiteral("description"));
    auto component = std::make_shared<Package::IntroBuildComponent>(params);
    fields.applyMetadata(*component);
    fields.finish();
    return component;
}

}  // namespace

void addImportKinds(ComponentFactory& factory) {
    factory.add(QStringLiteral("import"), makeImport);
    factory.add(QStringLiteral("intro"), makeIntro);
}

}  // namespace Cli
