#include "cli/json_key_lines.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <vector>

namespace Cli {
namespace {

// An object or list being scanned: its path, and where in it the scan stands.
struct Frame {
    bool object = false;
    QString path;
    int index = 0;         // lists: the element the scan is in
    bool wantKey = false;  // objects: the next string is a key
    QString key;           // objects: the key of the value being scanned
};

// A JSON string's text from its quoted bytes (quotes included).
QString decodeString(const QByteArray& quoted) {
    if (!quoted.contains('\\'))
        return QString::fromUtf8(quoted.mid(1, quoted.size() - 2));
    const QJsonDocument document = QJsonDocument::fromJson("[" + quoted + "]");
    return document.array().at(0).toString();
}

}  // namespace

JsonKeyLines::JsonKeyLines(const QByteArray& json) {
    std::vector<Frame> stack;
    int line = 1;
    // The path of the value that starts at the scan's place.
    const auto valuePath = [&]() -> QString {
        if (stack.empty())
            return QString();
        const Frame& top = stack.back();
        if (!top.object)
            return QStringLiteral("%1[%2]").arg(top.path).arg(top.index);
        return top.path.isEmpty() ? top.key : top.path + QLatin1Char('.') + top.key;
    };
    for (int i = 0; i < json.size(); ++i) {
        const char c = json[i];
        switch (c) {
            case '\n':
                ++line;
                break;
            case '"': {
                const int start = i;
                for (++i; i < json.size() && json[i] != '"'; ++i) {
                    if (json[i] == '\\')
                        ++i;
                    else if (json[i] == '\n')
                        ++line;  // not valid JSON, but the lines stay counted
                }
                if (!stack.empty() && stack.back().object && stack.back().wantKey) {
                    Frame& top = stack.back();
                    top.key = decodeString(json.mid(start, i - start + 1));
                    top.wantKey = false;
                    m_lines.insert(valuePath(), line);
                }
                break;
            }
            case '{':
            case '[': {
                Frame frame;
                frame.object = c == '{';
                frame.wantKey = frame.object;
                frame.path = valuePath();
                stack.push_back(frame);
                break;
            }
            case '}':
            case ']':
                if (!stack.empty())
                    stack.pop_back();
                break;
            case ',':
                if (!stack.empty()) {
                    if (stack.back().object)
                        stack.back().wantKey = true;
                    else
                        ++stack.back().index;
                }
                break;
            default:
                break;
        }
    }
}

}  // namespace Cli
