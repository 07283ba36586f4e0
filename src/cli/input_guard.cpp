#include "cli/input_guard.h"

#include <QFile>

#include <sys/stat.h>

#include "cli/cli_error.h"

namespace Cli {

void refuseOutputOverInput(const QString& output, const QStringList& inputs, const QString& what) {
    struct stat target;
    // An output that does not exist yet cannot be an input, which all exist.
    if (output.isEmpty() || ::stat(QFile::encodeName(output).constData(), &target) != 0)
        return;
    for (const QString& input : inputs) {
        struct stat source;
        if (input.isEmpty() || ::stat(QFile::encodeName(input).constData(), &source) != 0)
            continue;
        if (source.st_dev == target.st_dev && source.st_ino == target.st_ino)
            throw Error(QStringLiteral("%1 %2: is an input of this command (%3); it is not "
                                       "replaced, nothing was written")
                            .arg(what, output, input));
    }
}

}  // namespace Cli
