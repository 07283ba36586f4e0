#pragma once

// What the zip tests share: data makers, a tree listing, archives written with libzip directly,
// and a fixture with a small project folder.

#include "platform/bundle/zip.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTemporaryDir>

#include "fault_env.h"
#include "platform/fs/fs_error.h"
#include "platform/fs/temporary_paths.h"
#include "test_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zip.h>

#include <sys/stat.h>
#include <sys/time.h>

#include <cstdlib>
#include <cstring>
#include <functional>

namespace ZipFixture {

using testing::HasSubstr;
using TestSupport::readFile;
using TestSupport::writeFile;
namespace Zip = Bundle::Zip;

inline QByteArray noise(int size, quint32 seed) {
    QRandomGenerator generator(seed);
    QByteArray data(size, Qt::Uninitialized);
    for (char& c : data)
        c = char(generator.generate());
    return data;
}

inline QByteArray xmlText(int lines) {
    QByteArray text = "<?xml version=\"1.0\"?>\n<clips>\n";
    for (int i = 0; i < lines; ++i)
        text += "  <clip id=\"" + QByteArray::number(i) + "\" start=\"" +
                QByteArray::number(i * 40) + "\"/>\n";
    return text + "</clips>\n";
}

// Everything below `root`, relative, folders with a trailing "/", links not followed.
inline QStringList tree(const QString& root) {
    QStringList names;
    QDirIterator it(root, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        const QString name = QDir(root).relativeFilePath(it.filePath());
        names << (it.fileInfo().isDir() && !it.fileInfo().isSymLink() ? name + "/" : name);
    }
    names.sort();
    return names;
}

// Callers catch Bundle::Error, so nothing else may come out.
inline std::string errorFrom(const std::function<void()>& action) {
    return TestSupport::errorFrom<Bundle::Error>(action);
}

// Writes an archive with libzip directly, as any other tool (or an attacker) might.
inline void makeArchive(const QString& path, const std::function<void(zip_t*)>& fill) {
    int code = 0;
    zip_t* archive =
        zip_open(QFile::encodeName(path).constData(), ZIP_CREATE | ZIP_TRUNCATE, &code);
    ASSERT_NE(archive, nullptr);
    fill(archive);
    ASSERT_EQ(zip_close(archive), 0) << zip_strerror(archive);
}

inline zip_int64_t addFile(zip_t* archive, const char* name, const QByteArray& data) {
    void* copy = std::malloc(size_t(std::max(data.size(), 1)));
    std::memcpy(copy, data.constData(), size_t(data.size()));
    zip_source_t* source = zip_source_buffer(archive, copy, zip_uint64_t(data.size()), 1);
    const zip_int64_t index = zip_file_add(archive, name, source, 0);
    EXPECT_GE(index, 0) << name << ": " << zip_strerror(archive);
    return index;
}

class ZipTest : public testing::Test {
protected:
    QString path(const QString& relative) const { return dir.filePath(relative); }

    // A small project folder: media (stored), text (deflated), an empty and a nested folder.
    void makeSourceTree() {
        writeFile(path("src/media/clip.MP4"), noise(300 * 1024, 1));
        writeFile(path("src/media/still.png"), noise(20 * 1024, 2));
        writeFile(path("src/project.xml"), xmlText(3000));
        writeFile(path("src/deep/a/b/notes.txt"), "notes\n");
        writeFile(path("src/.hidden"), "h");
        writeFile(path("src/zero.txt"), QByteArray());
        writeFile(path("src/Résumé ü.txt"), "accents");
        QDir().mkpath(path("src/empty"));
    }

    QTemporaryDir dir;
};

}  // namespace ZipFixture
