#include "platform/bundle/flat_writer.h"

#include "platform/bundle/bundle_error.h"
#include "platform/fs/atomic_file.h"

namespace Bundle {

bool isPlainFileName(const QString& name) {
    return !name.isEmpty() && name != QLatin1String(".") && name != QLatin1String("..") &&
           !name.contains(QLatin1Char('/')) && !name.contains(QLatin1Char('\\')) &&
           !name.contains(QLatin1Char(':')) && !name.contains(QChar(0));
}

FlatWriter::FlatWriter(const QString& folder) : m_folder(folder) {}

void FlatWriter::writeContent(const QString& name, const QByteArray& data) {
    if (!isPlainFileName(name))
        throw Error(QStringLiteral("cannot write '%1' into %2: not a plain file name")
                        .arg(name, m_folder)
                        .toStdString());
    const QString path = m_folder + QLatin1Char('/') + name;
    FS::writeFileAtomically(path, data);
}

}  // namespace Bundle
