#pragma once

#include <QString>
#include <QUuid>

#include "platform/model/id_source.h"

namespace Cli {

// Ids that a rebuild gives again: the n-th id asked for is the name-based (SHA-1) UUID of
// "<identity>/<n>" in the package's namespace. One source serves one component's build, so the
// component's identity and the order in which it asks for ids decide them, and nothing else.
class NameBasedIdSource : public IdSource {
public:
    NameBasedIdSource(const QUuid& space, const QString& identity);

    QUuid newUuid() override;

    // The namespace of a package id as the recipe or --uuid gives it: the UUID itself when the
    // text is one (braced or not), else the name-based UUID of the text in the null namespace.
    static QUuid packageSpace(const QString& packageId);

private:
    QUuid m_space;
    QString m_identity;
    int m_count = 0;
};

}  // namespace Cli
