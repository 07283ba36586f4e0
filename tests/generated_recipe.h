#pragma once

// The generated recipes of every kind of component that the round trip and the reproducible
// build tests share.

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

#include <random>

namespace TestSupport {

// A timeline with a video clip, overlay clips of each kind and keyframes, its numbers drawn from
// `random`; its media come from `examples` (the examples folder, ending in "/").
QJsonObject overlayTimeline(std::mt19937& random, const QString& examples);

// The components of a generated package: every kind of effect, transition and import, in an
// order and with texts, categories and previews drawn from `random`; an intro, or else an
// intermediate overlay (a package holds one project at most). Its timeline files are written into
// `dir` and named by their paths there; the example files come from `examples`.
QJsonArray generatedComponents(std::mt19937& random, const QString& dir, bool intermediate,
                               const QString& examples);

}  // namespace TestSupport
