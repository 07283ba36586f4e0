#include "cli/import_kinds.h"

#include "cli/cli_error.h"
#include "cli/component_factory.h"
#include "cli/component_fields.h"
#include "package/components/imports/import_build_component.h"
#include "package/components/imports/intro_build_component.h"

namespace Cli {
namespace {

const QStringList importTypes = {QStringLiteral("video"), QStringLiteral("image"),
                                 QStringLiteral("audio"), QStringLiteral("other")};

std::shared_ptr<Package::IBuildComponent> makeImport(const ComponentEntry& entry,
                                                     const Recipe& recipe, QStringList& warnings) {
    ComponentFields fields(entry, recipe, warnings);
    Package::ImportParams params;
    const bool local = fields.has(QStringLiteral("path"));
    const bool remote =
        fields.has(QStringLiteral("remoteUrl")) || fields.has(QStringLiteral("packageName"));
    if (local == remote)
        fields.fail(QStringLiteral("path"),
                    local
                        ? QStringLiteral("give either a path or a remoteUrl and packageName")
                        : QStringLiteral("missing (give a path, or a remoteUrl and packageName)"));
    if (local) {
        params.source = fields.sourceFile(QStringLiteral("path"), true);
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
        fields.choice(QStringLiteral("importType"), importTypes, Package::VideoImport));
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
    fields.requireOneProjectBundle();
    Package::IntroParams params;
    params.timeline = params.timelineStorage.adopt(
        std::make_unique<Timeline::Object>(fields.timeline(QStringLiteral("timeline"))));
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
