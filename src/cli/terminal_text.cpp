#include "cli/terminal_text.h"

#include <algorithm>

namespace Cli {
namespace {

bool isBidiControl(ushort c) {
    return (c >= 0x202a && c <= 0x202e) || (c >= 0x2066 && c <= 0x2069);
}

}  // namespace

QString terminalSafe(const QString& text) {
    const auto unsafe = [](QChar c) {
        const ushort u = c.unicode();
        return u < 0x20 || (u >= 0x7f && u <= 0x9f) || isBidiControl(u);
    };
    if (std::none_of(text.begin(), text.end(), unsafe))
        return text;
    QString out;
    out.reserve(text.size() + 16);
    for (const QChar c : text) {
        const ushort u = c.unicode();
        if (!unsafe(c))
            out += c;
        else if (u <= 0x7f)
            out += QStringLiteral("\\x%1").arg(u, 2, 16, QLatin1Char('0'));
        else
            out += QStringLiteral("\\u%1").arg(u, 4, 16, QLatin1Char('0'));
    }
    return out;
}

}  // namespace Cli
