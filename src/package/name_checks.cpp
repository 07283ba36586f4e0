#include "package/name_checks.h"

#include <stdexcept>

namespace Package {
namespace {

// The text as it can appear in a one-line message: controls shown by their code point.
QString printable(const QString& text) {
    QString shown;
    for (const QChar c : text) {
        if (c.unicode() < 0x20 || (c.unicode() >= 0x7f && c.unicode() <= 0x9f))
            shown += QStringLiteral("\\u%1").arg(c.unicode(), 4, 16, QLatin1Char('0'));
        else
            shown += c;
    }
    return shown;
}

}  // namespace

QString replaceableMarker(const QString& text, int highest) {
    // Parsed as QString::arg parses: '%', an optional 'L', then one or two decimal digits.
    for (int i = 0; i < text.size(); ++i) {
        if (text.at(i) != QLatin1Char('%'))
            continue;
        int at = i + 1;
        if (at < text.size() && text.at(at) == QLatin1Char('L'))
            ++at;
        if (at >= text.size() || text.at(at).digitValue() == -1)
            continue;
        int number = text.at(at).digitValue();
        int end = at + 1;
        if (end < text.size() && text.at(end).digitValue() != -1) {
            number = number * 10 + text.at(end).digitValue();
            ++end;
        }
        if (number <= highest)
            return text.mid(i, end - i);
    }
    return QString();
}

void requireNoReplaceableMarker(const QString& what, const QString& text) {
    const QString marker = replaceableMarker(text);
    if (!marker.isEmpty())
        throw std::invalid_argument(
            QStringLiteral("%1: \"%2\" holds \"%3\", which the package layout would replace")
                .arg(what, printable(text), marker)
                .toStdString());
}

QString unrepresentableCharacter(const QString& name) {
    for (int i = 0; i < name.size(); ++i) {
        const ushort c = name.at(i).unicode();
        bool bad = c < 0x20 || (c >= 0x7f && c <= 0x9f) || c == 0xfffe || c == 0xffff;
        if (QChar::isHighSurrogate(c)) {
            if (i + 1 < name.size() && name.at(i + 1).isLowSurrogate())
                ++i;
            else
                bad = true;
        } else if (QChar::isLowSurrogate(c)) {
            bad = true;
        }
        if (bad)
            return QStringLiteral("U+") +
                   QString::number(c, 16).toUpper().rightJustified(4, QLatin1Char('0'));
    }
    return QString();
}

void requireRepresentableName(const QString& what, const QString& name) {
    const QString character = unrepresentableCharacter(name);
    if (!character.isEmpty())
        throw std::invalid_argument(
            QStringLiteral(
                "%1: \"%2\" holds the character %3, which the package description cannot carry")
                .arg(what, printable(name), character)
                .toStdString());
}

}  // namespace Package
