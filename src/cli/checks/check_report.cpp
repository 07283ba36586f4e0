#include "cli/checks/check_report.h"

#include <QJsonArray>
#include <QRegularExpression>

namespace Cli {
namespace {

QString severityName(Finding::Severity severity) {
    return severity == Finding::Error ? QStringLiteral("error") : QStringLiteral("warning");
}

QString counted(int count, const char* one, const char* many) {
    return QStringLiteral("%1 %2").arg(count).arg(QLatin1String(count == 1 ? one : many));
}

}  // namespace

QString Finding::toText(const QString& recipePath) const {
    QString text = recipePath;
    if (!item.isEmpty()) {
        text += QStringLiteral(": ") + item;
        if (!field.isEmpty())
            text += QLatin1Char('.') + field;
    } else if (component >= 0) {
        text += QStringLiteral(": components[%1]").arg(component);
        if (!field.isEmpty())
            text += QLatin1Char('.') + field;
    } else if (!field.isEmpty()) {
        text += QStringLiteral(": ") + field;
    }
    if (!file.isEmpty()) {
        text += QStringLiteral(" (") + file;
        if (line > 0)
            text += QStringLiteral(":%1").arg(line);
        text += QLatin1Char(')');
    }
    return text + QStringLiteral(": ") + severityName(severity) + QStringLiteral(": ") + message;
}

QJsonObject Finding::toJson() const {
    QJsonObject object{{QStringLiteral("severity"), severityName(severity)},
                       {QStringLiteral("message"), message}};
    if (component >= 0)
        object.insert(QStringLiteral("component"), component);
    if (!item.isEmpty())
        object.insert(QStringLiteral("item"), item);
    if (!field.isEmpty())
        object.insert(QStringLiteral("field"), field);
    if (!file.isEmpty())
        object.insert(QStringLiteral("file"), file);
    if (line > 0)
        object.insert(QStringLiteral("line"), line);
    return object;
}

Finding Finding::fromMessage(Severity severity, const QString& text, const QString& recipePath,
                             int component) {
    Finding finding;
    finding.severity = severity;
    finding.component = component;
    finding.message = text;
    const QString prefix = recipePath + QStringLiteral(": ");
    if (!text.startsWith(prefix))
        return finding;
    static const QRegularExpression place(
        QStringLiteral(R"(^components\[(\d+)\](?:\.([^:\s]+))?: (.*)$)"),
        QRegularExpression::DotMatchesEverythingOption);
    const QString rest = text.mid(prefix.size());
    const QRegularExpressionMatch match = place.match(rest);
    if (match.hasMatch()) {
        finding.component = match.captured(1).toInt();
        finding.field = match.captured(2);
        finding.message = match.captured(3);
    } else {
        finding.message = rest;
    }
    return finding;
}

void CheckReport::add(const CheckPlace& place, Finding::Severity severity, const QString& message,
                      int line) {
    Finding finding;
    finding.severity = severity;
    finding.component = place.component;
    finding.field = place.field;
    finding.file = place.file;
    finding.item = place.item;
    finding.line = line;
    finding.message = message;
    m_findings.push_back(finding);
}

int CheckReport::count(Finding::Severity severity) const {
    int n = 0;
    for (const Finding& finding : m_findings)
        n += finding.severity == severity ? 1 : 0;
    return n;
}

QString CheckReport::toText(const QString& source) const {
    QString text;
    for (const Finding& finding : m_findings)
        text += finding.toText(source) + QLatin1Char('\n');
    if (m_findings.isEmpty())
        return text + source + QStringLiteral(": clean\n");
    return text + QStringLiteral("%1: %2, %3\n")
                      .arg(source, counted(count(Finding::Error), "error", "errors"),
                           counted(count(Finding::Warning), "warning", "warnings"));
}

QJsonObject CheckReport::toJson(const QString& source, const QString& key) const {
    QJsonArray list;
    for (const Finding& finding : m_findings)
        list.append(finding.toJson());
    return {{key, source},
            {QStringLiteral("ok"), !hasErrors()},
            {QStringLiteral("errors"), count(Finding::Error)},
            {QStringLiteral("warnings"), count(Finding::Warning)},
            {QStringLiteral("findings"), list}};
}

}  // namespace Cli
