#pragma once

#include <QByteArray>
#include <QImage>
#include <QString>
#include <QStringList>

#include <exception>
#include <functional>
#include <string>

namespace TestSupport {

// Writes a file (and its folders) with the given bytes.
void writeFile(const QString& path, const QByteArray& data);
QByteArray readFile(const QString& path);

// Runs a program and returns its exit code (-1 when it crashed or hung). Its standard output goes
// to `output` and its standard error to `errors` when given, else both go to `output`.
int run(const QString& program, const QStringList& arguments, QString* output = nullptr,
        QString* errors = nullptr);

// The message of the `E` that `action` throws, "" when it throws none.
template <class E = std::exception>
std::string errorFrom(const std::function<void()>& action) {
    try {
        action();
    } catch (const E& error) {
        return error.what();
    }
    return {};
}

// What a run of the packwright tool gave.
struct ToolResult {
    int code = 0;
    QString output;
    QString errors;
};
// Runs the packwright tool that this build made. The recipes (and their timeline files) of every
// `build` or `check` that succeeds are also kept in $PACKWRIGHT_TEST_RECIPES when it is set, so
// that the suite can hold them against the JSON Schemas.
ToolResult tool(const QStringList& arguments);

// The names of the entries of a zip file, in archive order.
QStringList zipEntries(const QString& zipPath);
// The bytes of one entry of a zip file; fails the test when it is missing.
QByteArray zipEntry(const QString& zipPath, const QString& name);

// Whether a text is a uuid in the braced lower-case form that generated ids take.
bool isBracedUuid(const QString& text);

// The peak signal-to-noise ratio of two images of one size, in dB (infinite when they are equal).
double psnr(const QImage& a, const QImage& b);

}  // namespace TestSupport
