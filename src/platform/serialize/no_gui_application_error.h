#pragma once

#include <QString>
#include <stdexcept>

namespace Types {

// Images are pixmaps, and Qt ends the process when a pixmap is made without a QGuiApplication.
// The library checks first and throws this instead, naming what it was about to do. The cure is
// the caller's: create a QGuiApplication before building or reading packages (with the
// "offscreen" platform where there is no display).
class NoGuiApplicationError : public std::runtime_error {
public:
    explicit NoGuiApplicationError(const QString& action);

    QString action() const { return m_action; }  // "building the package /out/a.qpack", ...

private:
    QString m_action;
};

// Whether a QGuiApplication (or an application derived from it) exists in this process.
bool guiApplicationExists();

// Throws NoGuiApplicationError for `action` when no QGuiApplication exists.
void requireGuiApplication(const QString& action);

}  // namespace Types
