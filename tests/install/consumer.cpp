// Builds an empty package through the installed headers and library.
#include <QDir>
#include <QGuiApplication>
#include <QTemporaryDir>

#include "package/builder.h"

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    if (argc != 2)
        return 2;
    QTemporaryDir work;
    const QString folder = work.filePath(QStringLiteral("Consumer"));
    QDir().mkpath(folder);
    QPixmap preview(8, 8);
    preview.fill(Qt::green);
    Package::Builder(folder, QString::fromLocal8Bit(argv[1]), QStringLiteral("Consumer"),
                     QStringLiteral("Consumer"), preview)
        .build(QString());
    return 0;
}
