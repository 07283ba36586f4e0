#pragma once

#include <QImage>
#include <QString>
#include <QStringList>
#include <utility>
#include <vector>

namespace Cli::Preview {

// What a contact sheet shows, read from a package alone; the HTML and PNG sheets draw the same.

struct SheetPicture {
    QString caption;  // "before", "after", "middle", ...
    QImage image;     // already at the size it is shown at
};

struct SheetResource {
    QString name;      // the file name in the package
    QString kind;      // "media", "image", "data"
    qint64 size = -1;  // -1: the package lacks the file
};

struct SheetCard {
    QString kind;  // "LUT effect", "Title", "Video import", ...
    QString title;
    QString description;
    QStringList categories;
    QString collection;
    QString path;  // the add-on's folder in the package
    QImage preview;
    std::vector<SheetPicture> pictures;
    QStringList notes;     // facts shown as text: a duration, a download address
    QStringList problems;  // what could not be shown, and shader errors
    std::vector<SheetResource> resources;
};

struct SheetModel {
    QString fileName;  // the package file's name
    QString name;
    QString id;
    qint64 size = 0;      // the size the description states
    qint64 fileSize = 0;  // the package file's own size
    QImage preview;
    std::vector<std::pair<QString, int>> counts;  // items per kind, in the order of the cards
    QStringList problems;                         // what verify reports
    std::vector<SheetCard> cards;
};

}  // namespace Cli::Preview
