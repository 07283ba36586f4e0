#include "cli/name_based_id_source.h"

namespace Cli {

NameBasedIdSource::NameBasedIdSource(const QUuid& space, const QString& identity)
    : m_space(space), m_identity(identity) {}

QUuid NameBasedIdSource::newUuid() {
    return QUuid::createUuidV5(m_space, QStringLiteral("%1/%2").arg(m_identity).arg(m_count++));
}

QUuid NameBasedIdSource::packageSpace(const QString& packageId) {
    const QUuid parsed(packageId.trimmed());
    return parsed.isNull() ? QUuid::createUuidV5(QUuid(), packageId) : parsed;
}

}  // namespace Cli
