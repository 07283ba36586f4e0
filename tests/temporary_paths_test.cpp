// Names of temporaries, their registry and the removal of stale ones.

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include "platform/fs/temporary_folder.h"
#include "platform/fs/temporary_paths.h"
#include "test_support.h"

TEST(TemporaryPaths, SiblingsStayBesideTheirTargetWhateverMarkersThePathHolds) {
    for (const QString& folder : {QStringLiteral("/a/work%4/Sale 50%1 off/t%9"),
                                  QStringLiteral("/plain"), QStringLiteral("relative")}) {
        const QString target = folder + QStringLiteral("/pack %2.qpack");
        const QString sibling = FS::temporarySibling(target, QStringLiteral("pack"));
        EXPECT_EQ(QFileInfo(sibling).path(), folder) << sibling.toStdString();
        EXPECT_TRUE(QFileInfo(sibling).fileName().startsWith(".pack %2.qpack.pw-pack-"))
            << sibling.toStdString();
    }
}

TEST(TemporaryPaths, OnlyOurNamesOfProcessesThatAreGoneAreStale) {
    QProcess child;
    child.start("true", QStringList());
    const QString dead = QString::number(child.processId());
    child.waitForFinished();
    const QString alive = QString::number(QCoreApplication::applicationPid());
    struct Case {
        QString name;
        bool stale;
    };
    const Case cases[] = {
        {"packwright-work-" + dead + "-x1", true},
        {".out.qpack.pw-pack-" + dead + "-x1", true},
        {"packwright-work-" + alive + "-x1", false},
        {"packwright-work-" + dead, false},
        {"packwright-Work-" + dead + "-x1", false},
        {"out.qpack.pw-pack-" + dead + "-x1", false},
        {"packwright-work-0-x1", false},
        {"packwright-work-99999999999-x1", false},
        {"notes.txt", false},
    };
    for (const Case& c : cases)
        EXPECT_EQ(FS::isStaleTemporary(c.name), c.stale) << c.name.toStdString();
}

TEST(TemporaryPaths, ATemporaryFolderIsRegisteredWhileItLivesAndRemovedWithItsContent) {
    QTemporaryDir area;
    qputenv("TMPDIR", QFile::encodeName(area.path()));
    QString path;
    {
        FS::TemporaryFolder folder(QStringLiteral("test"));
        ASSERT_TRUE(folder.isValid()) << folder.errorString().toStdString();
        path = folder.path();
        EXPECT_EQ(QFileInfo(path).path(), area.path());
        EXPECT_TRUE(FS::TemporaryPaths::registered().contains(path));
        TestSupport::writeFile(folder.filePath("a/b/c.txt"), "content");
    }
    EXPECT_FALSE(QFileInfo::exists(path));
    EXPECT_FALSE(FS::TemporaryPaths::registered().contains(path));
    qunsetenv("TMPDIR");
}
