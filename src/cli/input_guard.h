#pragma once

#include <QString>
#include <QStringList>

namespace Cli {

// Throws Cli::Error, before anything is written, when `output` is the same file as one of
// `inputs`, however the two paths are spelt (links, "." and ".." included). `what` names the
// option that gave the output ("-o", "--recipe").
void refuseOutputOverInput(const QString& output, const QStringList& inputs, const QString& what);

}  // namespace Cli
