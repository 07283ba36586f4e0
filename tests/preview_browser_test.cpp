#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QImage>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QUrl>

#include "preview_support.h"
#include "test_support.h"

namespace {

using TestSupport::tool;

// The sheet's own colour for the top edge of a card, and nothing else.
const QColor kCardEdge(0x1f, 0x6f, 0xeb);
// Wider than the widest sheet checked: the frame inside sets the sheet's width.
constexpr int kWindowWidth = 1300;

// A page that loads the sheet in a frame of the width (and height) its address names after "#",
// and, once everything has loaded, writes what it measured into itself, where --dump-dom shows
// it. The sheet itself runs no script. The frame gives the sheet a phone's width even where the
// headless browser's window cannot be that narrow.
const char* const kHarness = R"(<!DOCTYPE html>
<html><head><meta charset="utf-8"><style>
html,body{margin:0;padding:0;background:#fff}iframe{display:block;border:0;height:100vh}
</style></head><body><iframe id="sheet" src="sheet.html"></iframe><script>
var size = location.hash.substring(1).split(',');
document.getElementById('sheet').style.width = size[0] + 'px';
if (size.length > 1) document.getElementById('sheet').style.height = size[1] + 'px';
window.addEventListener('load', function () {
  var w = document.getElementById('sheet').contentWindow, d = w.document;
  var result = {cards: d.querySelectorAll('article.card').length, images: d.images.length,
                broken: [], overflowing: [], innerWidth: w.innerWidth,
                scrollWidth: d.documentElement.scrollWidth,
                height: Math.ceil(d.documentElement.scrollHeight)};
  for (var i = 0; i < d.images.length; ++i)
    if (!d.images[i].complete || d.images[i].naturalWidth === 0) result.broken.push(d.images[i].alt);
  var all = d.body.querySelectorAll('*');
  for (var j = 0; j < all.length; ++j)
    if (all[j].getBoundingClientRect().right > w.innerWidth + 0.5)
      result.overflowing.push(all[j].tagName + '.' + all[j].className);
  var out = document.createElement('pre');
  out.id = 'result';
  out.textContent = JSON.stringify(result);
  document.body.appendChild(out);
});
</script></body></html>
)";

class PreviewBrowserTest : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        for (const char* name : {"chromium", "chromium-browser"}) {
            browser = QStandardPaths::findExecutable(name);
            if (!browser.isEmpty())
                break;
        }
        if (browser.isEmpty())
            GTEST_SKIP() << "chromium is not installed (scripts/setup.sh installs it): the HTML "
                            "sheet was not checked in a browser";
    }

    QStringList browserArguments(int width, int height) const {
        return {"--headless",
                "--no-sandbox",  // the tests may run as root
                "--disable-gpu",
                "--hide-scrollbars",
                "--force-device-scale-factor=1",
                "--allow-file-access-from-files",
                "--user-data-dir=" + dir.filePath("profile"),
                QStringLiteral("--window-size=%1,%2").arg(width).arg(height)};
    }

    QString harness(const QString& size) const {
        QUrl url = QUrl::fromLocalFile(dir.filePath("harness.html"));
        url.setFragment(size);
        return url.toString();
    }

    // Loads the sheet at `width` and returns what the harness measured.
    QJsonObject measure(int width) {
        QString output;
        QString errors;
        const int code =
            TestSupport::run(browser,
                             browserArguments(kWindowWidth, 900) +
                                 QStringList{"--dump-dom", harness(QString::number(width))},
                             &output, &errors);
        EXPECT_EQ(code, 0) << errors.toStdString();
        static const QRegularExpression result(QStringLiteral("<pre id=\"result\">([^<]*)</pre>"));
        const QString json = result.match(output).captured(1).replace("&quot;", "\"");
        return QJsonDocument::fromJson(json.toUtf8()).object();
    }

    QImage screenshot(int width, int height) {
        const QString path = dir.filePath(QStringLiteral("shot-%1.png").arg(width));
        QString errors;
        const int code = TestSupport::run(
            browser,
            browserArguments(kWindowWidth, height) +
                QStringList{"--screenshot=" + path,
                            harness(QStringLiteral("%1,%2").arg(width).arg(height))},
            nullptr, &errors);
        EXPECT_EQ(code, 0) << errors.toStdString();
        return QImage(path);
    }

    QString browser;
    QTemporaryDir dir;
};

TEST_P(PreviewBrowserTest, SheetLoadsEveryPictureFitsPhoneAndDesktopAndShowsEachItemOnce) {
    const QString package = dir.filePath("example.qpack");
    const auto built = tool(
        {"build", QStringLiteral(PACKWRIGHT_SOURCE_DIR "/examples/") + GetParam(), "-o", package});
    ASSERT_EQ(built.code, 0) << built.errors.toStdString();
    const auto previewed = tool({"preview", package, "-o", dir.filePath("sheet.html")});
    ASSERT_EQ(previewed.code, 0) << previewed.errors.toStdString();
    TestSupport::writeFile(dir.filePath("harness.html"), kHarness);
    const int items = PreviewSupport::itemCount(package);
    ASSERT_GT(items, 0);

    for (const int width : {1280, 390}) {
        SCOPED_TRACE(width);
        const QJsonObject measured = measure(width);
        ASSERT_FALSE(measured.isEmpty()) << "the harness reported nothing";
        EXPECT_EQ(measured.value("innerWidth").toInt(), width);
        EXPECT_EQ(measured.value("cards").toInt(), items);
        EXPECT_GE(measured.value("images").toInt(), items);
        EXPECT_TRUE(measured.value("broken").toArray().isEmpty())
            << QJsonDocument(measured).toJson().toStdString();
        EXPECT_LE(measured.value("scrollWidth").toInt(), width);
        EXPECT_TRUE(measured.value("overflowing").toArray().isEmpty())
            << QJsonDocument(measured).toJson().toStdString();

        const QImage shot = screenshot(width, measured.value("height").toInt());
        ASSERT_FALSE(shot.isNull());
        EXPECT_EQ(PreviewSupport::countFrames(shot, kCardEdge, 150), items);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Examples, PreviewBrowserTest,
    testing::Values("recipe.json", "title.json", "editable-title.json"),
    [](const testing::TestParamInfo<const char*>& info) {
        return QString::fromLatin1(info.param).section('.', 0, 0).replace('-', '_').toStdString();
    });

}  // namespace
