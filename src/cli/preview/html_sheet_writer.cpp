#include "cli/preview/html_sheet_writer.h"

#include <QBuffer>
#include <QLocale>
#include <QTextStream>

namespace Cli::Preview {
namespace {

const char* const kStyle = R"(
*{box-sizing:border-box}
html{-webkit-text-size-adjust:100%}
body{margin:0;padding:12px;font:14px/1.4 system-ui,-apple-system,"Segoe UI",sans-serif;
background:#eceef2;color:#1d2330}
img{display:block;max-width:100%;height:auto}
h1,h2,p,li,td,th,dd,figcaption{overflow-wrap:anywhere;word-break:break-word}
h1{font-size:1.4em;margin:0 0 6px}
h2{font-size:1.1em;margin:0 0 4px}
.package{display:flex;flex-wrap:wrap;gap:12px;background:#fff;border-radius:8px;padding:12px}
.package>figure{margin:0;flex:0 1 320px;min-width:0}
.package>div{flex:1 1 260px;min-width:0}
dl{display:grid;grid-template-columns:auto minmax(0,1fr);gap:2px 10px;margin:0 0 8px}
dt{color:#5a6272}dd{margin:0;min-width:0}
.counts{display:flex;flex-wrap:wrap;gap:6px;list-style:none;padding:0;margin:0 0 8px}
.counts li{background:#e3e8f4;border-radius:10px;padding:1px 8px}
.problems{color:#a8071a;margin:6px 0;padding-left:18px}
.ok{color:#1a7f37;margin:6px 0}
.cards{display:grid;grid-template-columns:minmax(0,1fr);gap:12px;margin-top:12px}
@media (min-width:700px){.cards{grid-template-columns:repeat(2,minmax(0,1fr))}}
@media (min-width:1100px){.cards{grid-template-columns:repeat(3,minmax(0,1fr))}}
.card{background:#fff;border-radius:0 0 8px 8px;border-top:4px solid #1f6feb;padding:12px;
min-width:0}
.kind{display:inline-block;font-size:.75em;text-transform:uppercase;letter-spacing:.04em;
color:#fff;background:#0b3d91;border-radius:4px;padding:1px 6px;margin-bottom:4px}
.description{margin:0 0 6px;color:#3a4252}
.meta{margin:0 0 8px;font-size:.9em;color:#5a6272}
.path{font-family:ui-monospace,monospace;font-size:.8em;color:#7a8292}
.pictures{display:flex;flex-wrap:wrap;gap:6px;margin:8px 0}
figure{margin:0}
.pictures figure{flex:1 1 140px;min-width:0}
.pictures figure.wide{flex-basis:100%}
figcaption{font-size:.8em;color:#5a6272}
.notes{margin:6px 0;padding-left:18px}
table{width:100%;border-collapse:collapse;table-layout:fixed;font-size:.85em;margin-top:6px}
th,td{text-align:left;padding:2px 4px;border-top:1px solid #e3e6eb}
th:nth-child(2),td:nth-child(2){width:4.5em}th:nth-child(3),td:nth-child(3){width:6.5em}
)";

QString escaped(const QString& text) {
    return text.toHtmlEscaped().replace(QLatin1Char('\''), QStringLiteral("&#39;"));
}

QString dataUri(const QImage& image) {
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return QStringLiteral("data:image/png;base64,") + QString::fromLatin1(png.toBase64());
}

QString sizeText(qint64 bytes) {
    if (bytes < 0)
        return QStringLiteral("missing");
    return QLocale::c().formattedDataSize(bytes, 1, QLocale::DataSizeTraditionalFormat);
}

void writeImage(QTextStream& out, const QImage& image, const QString& alt) {
    out << "<img src=\"" << dataUri(image) << "\" width=\"" << image.width() << "\" height=\""
        << image.height() << "\" alt=\"" << escaped(alt) << "\">";
}

void writeProblems(QTextStream& out, const QStringList& problems) {
    if (problems.isEmpty())
        return;
    out << "<ul class=\"problems\">";
    for (const QString& problem : problems)
        out << "<li>" << escaped(problem) << "</li>";
    out << "</ul>\n";
}

void writeCard(QTextStream& out, const SheetCard& card) {
    out << "<article class=\"card\">\n<span class=\"kind\">" << escaped(card.kind)
        << "</span>\n<h2>"
        << escaped(card.title.isEmpty() ? QStringLiteral("(untitled)") : card.title) << "</h2>\n";
    if (!card.description.isEmpty())
        out << "<p class=\"description\">" << escaped(card.description) << "</p>\n";
    out << "<p class=\"meta\">categories: "
        << (card.categories.isEmpty() ? QStringLiteral("none")
                                      : escaped(card.categories.join(QStringLiteral(", "))))
        << "<br>collection: "
        << (card.collection.isEmpty() ? QStringLiteral("none") : escaped(card.collection))
        << "<br><span class=\"path\">" << escaped(card.path) << "</span></p>\n";
    out << "<div class=\"pictures\">";
    if (!card.preview.isNull()) {
        out << "<figure>";
        writeImage(out, card.preview, QStringLiteral("preview"));
        out << "<figcaption>preview</figcaption></figure>";
    }
    for (const SheetPicture& picture : card.pictures) {
        const bool wide = picture.caption == QLatin1String("time strip") ||
                          picture.caption == QLatin1String("timeline") ||
                          picture.caption == QLatin1String("waveform");
        out << (wide ? "<figure class=\"wide\">" : "<figure>");
        writeImage(out, picture.image, picture.caption);
        out << "<figcaption>" << escaped(picture.caption) << "</figcaption></figure>";
    }
    out << "</div>\n";
    if (!card.notes.isEmpty()) {
        out << "<ul class=\"notes\">";
        for (const QString& note : card.notes)
            out << "<li>" << escaped(note) << "</li>";
        out << "</ul>\n";
    }
    writeProblems(out, card.problems);
    if (!card.resources.empty()) {
        out << "<table><thead><tr><th>resource</th><th>kind</th><th>size</th></tr></thead><tbody>";
        for (const SheetResource& resource : card.resources)
            out << "<tr><td>" << escaped(resource.name) << "</td><td>" << escaped(resource.kind)
                << "</td><td>" << sizeText(resource.size) << "</td></tr>";
        out << "</tbody></table>\n";
    }
    out << "</article>\n";
}

}  // namespace

QByteArray HtmlSheetWriter::write(const SheetModel& model) {
    QString html;
    QTextStream out(&html);
    out << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        << "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        << "<title>" << escaped(model.name) << " - contact sheet</title>\n<style>" << kStyle
        << "</style>\n</head>\n<body>\n<header class=\"package\">\n";
    if (!model.preview.isNull()) {
        out << "<figure>";
        writeImage(out, model.preview, QStringLiteral("package preview"));
        out << "</figure>\n";
    }
    out << "<div>\n<h1>" << escaped(model.name) << "</h1>\n<dl>"
        << "<dt>id</dt><dd>" << escaped(model.id) << "</dd>"
        << "<dt>file</dt><dd>" << escaped(model.fileName) << " (" << sizeText(model.fileSize)
        << ")</dd>"
        << "<dt>size</dt><dd>" << sizeText(model.size) << "</dd>"
        << "<dt>items</dt><dd>" << model.cards.size() << "</dd></dl>\n<ul class=\"counts\">";
    for (const auto& [kind, count] : model.counts)
        out << "<li>" << escaped(kind) << ": " << count << "</li>";
    out << "</ul>\n";
    if (model.problems.isEmpty())
        out << "<p class=\"ok\">verify finds no problem</p>\n";
    writeProblems(out, model.problems);
    out << "</div>\n</header>\n<main class=\"cards\">\n";
    for (const SheetCard& card : model.cards)
        writeCard(out, card);
    out << "</main>\n</body>\n</html>\n";
    out.flush();
    return html.toUtf8();
}

}  // namespace Cli::Preview
