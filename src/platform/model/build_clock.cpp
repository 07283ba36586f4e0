#include "platform/model/build_clock.h"

#include <QByteArray>
#include <QtGlobal>

#include <algorithm>
#include <stdexcept>

namespace {

thread_local std::optional<qint64> installed;

}  // namespace

std::optional<qint64> BuildClock::fixedTime() {
    return installed;
}

QString BuildClock::recordedFolder(const QString& folder) {
    if (!installed)
        return folder;
    QString name = folder;
    while (name.size() > 1 && name.endsWith(QLatin1Char('/')))
        name.chop(1);
    return name.mid(name.lastIndexOf(QLatin1Char('/')) + 1);
}

std::optional<qint64> BuildClock::sourceDateEpoch() {
    const QByteArray text = qgetenv("SOURCE_DATE_EPOCH");
    if (text.isEmpty())
        return std::nullopt;
    bool ok = false;
    const qint64 seconds = text.toLongLong(&ok);
    // Digits only: a sign, spaces or a fraction would be read differently by other tools.
    const bool digits =
        std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
    if (!ok || !digits || seconds < 0)
        throw std::invalid_argument("SOURCE_DATE_EPOCH: '" + text.toStdString() +
                                    "' is not a whole number of seconds since 1970");
    return seconds;
}

ScopedBuildClock::ScopedBuildClock(std::optional<qint64> fixedTime) : m_previous(installed) {
    installed = fixedTime;
}

ScopedBuildClock::~ScopedBuildClock() {
    installed = m_previous;
}
