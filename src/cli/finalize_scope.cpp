#include "cli/finalize_scope.h"

namespace Cli {

FinalizeScope::FinalizeScope(const QString& sourcePackageId, std::optional<qint64> fixedTime)
    : m_ids(NameBasedIdSource::packageSpace(sourcePackageId), identity()),
      m_idScope(m_ids),
      m_clock(fixedTime) {}

}  // namespace Cli
