#include "test_support.h"

#include <gtest/gtest.h>
#include <zip.h>

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QSaveFile>

#include <cmath>
#include <limits>

namespace TestSupport {

void writeFile(const QString& path, const QByteArray& data) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size())
        ADD_FAILURE() << "cannot write " << path.toStdString();
}

QByteArray readFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        ADD_FAILURE() << "cannot read " << path.toStdString();
        return {};
    }
    return file.readAll();
}

int run(const QString& program, const QStringList& arguments, QString* output, QString* errors) {
    QProcess process;
    process.setProcessChannelMode(errors ? QProcess::SeparateChannels : QProcess::MergedChannels);
    process.start(program, arguments);
    if (!process.waitForFinished(120000))
        return -1;
    if (output)
        *output = QString::fromUtf8(process.readAllStandardOutput());
    if (errors)
        *errors = QString::fromUtf8(process.readAllStandardError());
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

QStringList zipEntries(const QString& zipPath) {
    QStringList names;
    int error = 0;
    zip_t* archive = zip_open(QFile::encodeName(zipPath).constData(), ZIP_RDONLY, &error);
    if (!archive) {
        ADD_FAILURE() << "cannot open zip " << zipPath.toStdString();
        return names;
    }
    const zip_int64_t count = zip_get_num_entries(archive, 0);
    for (zip_int64_t i = 0; i < count; ++i)
        names << QString::fromUtf8(zip_get_name(archive, zip_uint64_t(i), 0));
    zip_close(archive);
    return names;
}

QByteArray zipEntry(const QString& zipPath, const QString& name) {
    int error = 0;
    zip_t* archive = zip_open(QFile::encodeName(zipPath).constData(), ZIP_RDONLY, &error);
    if (!archive) {
        ADD_FAILURE() << "cannot open zip " << zipPath.toStdString();
        return {};
    }
    QByteArray data;
    zip_stat_t stat;
    if (zip_stat(archive, name.toUtf8().constData(), 0, &stat) == 0) {
        zip_file_t* file = zip_fopen_index(archive, stat.index, 0);
        data.resize(int(stat.size));
        if (!file || zip_fread(file, data.data(), stat.size) != zip_int64_t(stat.size))
            ADD_FAILURE() << "cannot read " << name.toStdString() << " from "
                          << zipPath.toStdString();
        if (file)
            zip_fclose(file);
    } else {
        ADD_FAILURE() << zipPath.toStdString() << " has no entry " << name.toStdString();
    }
    zip_close(archive);
    return data;
}

namespace {

// Keeps a copy of a JSON file as `<sha1>.<kind>.json`; tests run in parallel, so each copy is
// written whole under its own content's name.
void keepCopy(const QString& folder, const QByteArray& data, const char* kind) {
    const QString name = QString::fromLatin1(
        QCryptographicHash::hash(data, QCryptographicHash::Sha1).toHex() + '.' + kind + ".json");
    QDir().mkpath(folder);
    QSaveFile file(QDir(folder).filePath(name));
    if (file.open(QIODevice::WriteOnly) && file.write(data) == data.size())
        file.commit();
}

void keepRecipes(const QStringList& arguments) {
    const QString folder = qEnvironmentVariable("PACKWRIGHT_TEST_RECIPES");
    if (folder.isEmpty() || arguments.isEmpty() ||
        (arguments.front() != QLatin1String("build") &&
         arguments.front() != QLatin1String("check")))
        return;
    for (const QString& argument : arguments.mid(1)) {
        QFile recipe(argument);
        if (!argument.endsWith(QLatin1String(".json")) || !recipe.open(QIODevice::ReadOnly))
            continue;
        const QByteArray data = recipe.readAll();
        keepCopy(folder, data, "recipe");
        const QDir base = QFileInfo(argument).absoluteDir();
        for (const QJsonValue component :
             QJsonDocument::fromJson(data).object().value(QStringLiteral("components")).toArray()) {
            const QString timeline =
                component.toObject().value(QStringLiteral("timeline")).toString();
            QFile file(base.absoluteFilePath(timeline));
            if (!timeline.isEmpty() && file.open(QIODevice::ReadOnly))
                keepCopy(folder, file.readAll(), "timeline");
        }
    }
}

}  // namespace

ToolResult tool(const QStringList& arguments) {
    ToolResult result;
    result.code = run(QStringLiteral(PACKWRIGHT_TOOL), arguments, &result.output, &result.errors);
    if (result.code == 0)
        keepRecipes(arguments);
    return result;
}

bool isBracedUuid(const QString& text) {
    static const QRegularExpression braced(
        QStringLiteral("^\\{[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}\\}$"));
    return braced.match(text).hasMatch();
}

double psnr(const QImage& a, const QImage& b) {
    const QImage x = a.convertToFormat(QImage::Format_RGB888);
    const QImage y = b.convertToFormat(QImage::Format_RGB888);
    double sum = 0;
    for (int row = 0; row < x.height(); ++row) {
        const uchar* p = x.constScanLine(row);
        const uchar* q = y.constScanLine(row);
        for (int i = 0; i < x.width() * 3; ++i)
            sum += double(p[i] - q[i]) * (p[i] - q[i]);
    }
    const double mse = sum / (double(x.width()) * x.height() * 3);
    return mse == 0 ? std::numeric_limits<double>::infinity() : 10 * std::log10(255.0 * 255 / mse);
}

}  // namespace TestSupport
