#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <utility>
#include <vector>

#include "test_support.h"

// A corpus of broken inputs for the content checks, shared by the tests of `check` and `build`
// (on the recipe) and of `verify --content` (on a package built from it without the checks).
namespace ChecksCorpus {

inline QString sourceDir() {
    return QStringLiteral(PACKWRIGHT_SOURCE_DIR);
}

inline QByteArray rows(int count, const QByteArray& value = "0.5 0.5 0.5") {
    QByteArray table;
    for (int i = 0; i < count; ++i)
        table += value + "\n";
    return table;
}

inline QByteArray pngBytes() {
    return TestSupport::readFile(sourceDir() + "/examples/preview.png");
}

inline QByteArray videoBytes() {
    return TestSupport::readFile(sourceDir() + "/examples/media/beach.mp4");
}

inline QByteArray shader(const QByteArray& body) {
    return "#version 120\nuniform sampler2D source;\nvarying vec2 texCoord;\n" + body;
}

// Half a second of 8 kHz mono samples: 16-bit linear PCM (format 1), or A-law (format 6).
QByteArray wav(quint16 format = 1);

// A timeline file of video clips, one after the other on one track.
QByteArray timeline(const QStringList& videos);

// One broken input: the files it needs (beside the recipe), its components, the finding that
// `check` and `build` print, and what `verify --content` prints of a package that holds it: the
// item, and the rest of its line after the item's title.
struct Broken {
    const char* what;
    std::vector<std::pair<QString, QByteArray>> files;
    QByteArray components;
    QString finding;
    QString item;
    QString packaged;
};

std::vector<Broken> brokenInputs();

// Writes a broken input's files and its recipe ("recipe.json", building "out.qpack") into
// `folder`.
void writeRecipe(const QString& folder, const Broken& broken);

}  // namespace ChecksCorpus
