#include "cli/context_report.h"

#include <QJsonArray>

#include "cli/terminal_text.h"
#include "platform/model/timeline_object.h"

namespace Cli {
namespace {

// The recipe's kind ids, which the output names kinds by too.
const QStringList kKindNames = {QStringLiteral("import"),
                                QStringLiteral("intro"),
                                QStringLiteral("overlay"),
                                QStringLiteral("intermediate-overlay"),
                                QStringLiteral("mask-transition"),
                                QStringLiteral("overlay-transition"),
                                QStringLiteral("shader-transition"),
                                QStringLiteral("shader-effect"),
                                QStringLiteral("lut-effect")};
const QStringList kImportTypes = {QStringLiteral("video"), QStringLiteral("image"),
                                  QStringLiteral("audio"), QStringLiteral("other")};
const QStringList kOverlayTypes = {QStringLiteral("title"), QStringLiteral("callout"),
                                   QStringLiteral("sticker")};

QString nameIn(const QStringList& names, int index) {
    return index >= 0 && index < names.size() ? names[index] : QString::number(index);
}

QJsonObject common(const Package::BuildContext& context) {
    return {{QStringLiteral("name"), context.name},
            {QStringLiteral("previewPath"), context.previewPath},
            {QStringLiteral("categories"), QJsonArray::fromStringList(context.categories)},
            {QStringLiteral("collectionId"), context.collectionId}};
}

QJsonObject importParams(const Package::ImportParams& params) {
    QJsonObject object{{QStringLiteral("importType"), nameIn(kImportTypes, params.importType)},
                       {QStringLiteral("title"), params.primaryText},
                       {QStringLiteral("description"), params.secondaryText}};
    if (const auto* remote = std::get_if<Package::RemoteSource>(&params.source)) {
        object[QStringLiteral("remoteUrl")] = remote->remoteUrl;
        object[QStringLiteral("packageName")] = remote->packageName;
    } else {
        object[QStringLiteral("path")] = std::get<QString>(params.source);
    }
    return object;
}

QJsonObject videoTiming(const Package::VideoTiming& timing) {
    return {{QStringLiteral("start"), timing.start},
            {QStringLiteral("length"), timing.length},
            {QStringLiteral("frameRate"), timing.frameRate}};
}

QJsonObject overlayParams(const Package::OverlayParams& params) {
    QJsonObject object{{QStringLiteral("overlayType"), nameIn(kOverlayTypes, params.overlayType)},
                       {QStringLiteral("useMediaTiming"), params.useMediaTiming},
                       {QStringLiteral("firstItemSpan"), params.firstItemSpan},
                       {QStringLiteral("secondItemSpan"), params.secondItemSpan},
                       {QStringLiteral("videoTiming"), videoTiming(params.videoTiming)}};
    if (params.timeline) {
        object[QStringLiteral("timeline")] =
            QJsonObject{{QStringLiteral("tracks"), int(params.timeline->tracks().size())},
                        {QStringLiteral("clips"), int(params.timeline->clips().size())},
                        {QStringLiteral("duration"), double(params.timeline->duration())}};
    }
    return object;
}

// The recipe fields that every component shares.
void addMetadata(QJsonObject& component, const Package::BuildContext& context) {
    if (!context.categories.isEmpty())
        component[QStringLiteral("categories")] = QJsonArray::fromStringList(context.categories);
    if (!context.collectionId.isEmpty())
        component[QStringLiteral("collectionId")] = context.collectionId;
}

// Indented "key: value" lines; lists of texts on one line.
void appendText(QString& text, const QJsonObject& object, int depth) {
    const QString indent(depth * 2, QLatin1Char(' '));
    for (auto it = object.begin(); it != object.end(); ++it) {
        const QJsonValue value = it.value();
        if (value.isObject()) {
            text += indent + terminalSafe(it.key()) + QStringLiteral(":\n");
            appendText(text, value.toObject(), depth + 1);
            continue;
        }
        QString shown;
        if (value.isArray()) {
            QStringList items;
            for (const QJsonValue& item : value.toArray())
                items << QStringLiteral("\"%1\"").arg(terminalSafe(item.toString()));
            shown = items.isEmpty() ? QStringLiteral("none") : items.join(QStringLiteral(", "));
        } else if (value.isString()) {
            shown = QStringLiteral("\"%1\"").arg(terminalSafe(value.toString()));
        } else if (value.isBool()) {
            shown = value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
        } else {
            shown = QString::number(value.toDouble(), 'g', 17);
        }
        text += indent + terminalSafe(it.key()) + QStringLiteral(": ") + shown + QLatin1Char('\n');
    }
}

}  // namespace

QString ContextReport::kindName(const Package::AnyBuildContext& context) {
    return nameIn(kKindNames, int(context.index()));
}

QJsonObject ContextReport::toJson(const Package::AnyBuildContext& context) {
    QJsonObject object{{QStringLiteral("index"), int(context.index())},
                       {QStringLiteral("kind"), kindName(context)}};
    std::visit([&](const auto& c) { object[QStringLiteral("context")] = common(c); }, context);
    if (const auto* import = std::get_if<0>(&context)) {
        object[QStringLiteral("params")] = importParams(import->params);
    } else if (const auto* overlay = std::get_if<3>(&context)) {
        object[QStringLiteral("params")] = overlayParams(overlay->params);
        object[QStringLiteral("introCollectionId")] = overlay->introCollectionId;
    }
    return object;
}

QString ContextReport::toText(const Package::AnyBuildContext& context) {
    QString text;
    appendText(text, toJson(context), 0);
    return text;
}

QJsonObject ContextReport::overlayComponent(const Package::IntermediateOverlayBuildContext& context,
                                            const QString& timelineFileName) {
    const Package::OverlayParams& params = context.params;
    QJsonObject component{
        {QStringLiteral("kind"), QStringLiteral("intermediate-overlay")},
        {QStringLiteral("timeline"), timelineFileName},
        {QStringLiteral("overlayType"), nameIn(kOverlayTypes, params.overlayType)},
        {QStringLiteral("firstItemSpan"), params.firstItemSpan},
        {QStringLiteral("secondItemSpan"), params.secondItemSpan},
        {QStringLiteral("videoTiming"), videoTiming(params.videoTiming)}};
    if (!context.introCollectionId.isEmpty())
        component[QStringLiteral("introCollectionId")] = context.introCollectionId;
    addMetadata(component, context);
    return component;
}

}  // namespace Cli
