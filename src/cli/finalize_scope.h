#pragma once

#include <QString>

#include <optional>

#include "cli/name_based_id_source.h"
#include "platform/model/build_clock.h"
#include "platform/model/id_source.h"

namespace Cli {

// What `finalize` fixes for the time it builds, so that finalizing one package again gives the
// same package: every id (the finished package's id first, then its item's) is derived from the
// source package's id, and with a fixed time (SOURCE_DATE_EPOCH) the bytes are the same too.
class FinalizeScope {
public:
    FinalizeScope(const QString& sourcePackageId, std::optional<qint64> fixedTime);
    FinalizeScope(const FinalizeScope&) = delete;
    FinalizeScope& operator=(const FinalizeScope&) = delete;

    // The identity under which the ids are derived in the source package's namespace.
    static QString identity() { return QStringLiteral("finalize"); }

private:
    NameBasedIdSource m_ids;
    ScopedIdSource m_idScope;
    ScopedBuildClock m_clock;
};

}  // namespace Cli
