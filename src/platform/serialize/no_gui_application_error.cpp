#include "platform/serialize/no_gui_application_error.h"

#include <QCoreApplication>
#include <QGuiApplication>

namespace Types {

NoGuiApplicationError::NoGuiApplicationError(const QString& action)
    : std::runtime_error(
          QStringLiteral("%1 needs a QGuiApplication (images are pixmaps), and the program has "
                         "created none: create one first (QT_QPA_PLATFORM=offscreen where there "
                         "is no display)")
              .arg(action)
              .toStdString()),
      m_action(action) {}

bool guiApplicationExists() {
    // A QCoreApplication alone is not enough: Qt still aborts on the first pixmap with a size.
    return qobject_cast<QGuiApplication*>(QCoreApplication::instance()) != nullptr;
}

void requireGuiApplication(const QString& action) {
    if (!guiApplicationExists())
        throw NoGuiApplicationError(action);
}

}  // namespace Types
