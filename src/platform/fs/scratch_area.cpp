#include "platform/fs/scratch_area.h"

#include <QDir>
#include <QStringList>

#include <mutex>

namespace FS {
namespace {

std::mutex areasMutex;
QStringList& areas() {
    static QStringList list;
    return list;
}

QString normalized(const QString& path) {
    return QDir::cleanPath(QDir(path).absolutePath());
}

}  // namespace

ScratchArea::ScratchArea(const QString& folder) : m_folder(normalized(folder)) {
    std::lock_guard<std::mutex> lock(areasMutex);
    areas().append(m_folder);
}

ScratchArea::~ScratchArea() {
    std::lock_guard<std::mutex> lock(areasMutex);
    areas().removeOne(m_folder);
}

bool ScratchArea::contains(const QString& path) {
    const QString target = normalized(path);
    std::lock_guard<std::mutex> lock(areasMutex);
    for (const QString& area : areas()) {
        if (target.startsWith(area + QLatin1Char('/')))
            return true;
    }
    return false;
}

}  // namespace FS
