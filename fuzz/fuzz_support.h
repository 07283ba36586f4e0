#pragma once

#include <QString>

namespace FuzzSupport {

// Starts what reading packages needs once per process: a QGuiApplication on the offscreen platform
// (images are pixmaps) and the package library's item types.
void start();

// Stops the run with a message when a property that must hold for every input does not; libFuzzer
// then saves the input that broke it.
[[noreturn]] void fail(const QString& what);

}  // namespace FuzzSupport
