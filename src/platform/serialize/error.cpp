#include "platform/serialize/error.h"

namespace Serialize {
namespace {

QString compose(const QString& source, qint64 line, const QString& key, const QString& what) {
    QString text;
    if (!source.isEmpty())
        text += source + QLatin1Char(':');
    if (line > 0)
        text += QString::number(line) + QLatin1Char(':');
    if (!text.isEmpty())
        text += QLatin1Char(' ');
    if (!key.isEmpty())
        text += QStringLiteral("key '%1': ").arg(key);
    return text + what;
}

}  // namespace

Error::Error(const QString& source, qint64 line, const QString& key, const QString& what)
    : std::runtime_error(compose(source, line, key, what).toStdString()),
      m_source(source),
      m_line(line),
      m_key(key) {}

Error::Error(const QString& what) : std::runtime_error(what.toStdString()) {}

}  // namespace Serialize
