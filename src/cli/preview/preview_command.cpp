#include "cli/preview/preview_command.h"

#include <QBuffer>
#include <QCommandLineParser>
#include <QFileInfo>

#include "cli/cli_error.h"
#include "cli/command_line.h"
#include "cli/preview/html_sheet_writer.h"
#include "cli/preview/png_sheet_painter.h"
#include "cli/preview/reference_frame.h"
#include "cli/preview/shader_render_process.h"
#include "cli/preview/sheet_reader.h"
#include "cli/standard_streams.h"
#include "cli/verbosity.h"
#include "platform/fs/atomic_file.h"

namespace Cli {

int previewCommand(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    // The child that a sheet renders its shaders in; not for people.
    if (arguments == QStringList{QLatin1String(Preview::ShaderRenderProcess::kWorkerOption)})
        return Preview::ShaderRenderProcess::serve();
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Makes a contact sheet of a package: one HTML page (or PNG picture) that "
                       "shows every item it holds."));
    parser.addPositionalArgument(QStringLiteral("package"), QStringLiteral("The package file."));
    const QCommandLineOption outputOption(
        {QStringLiteral("o"), QStringLiteral("output")},
        QStringLiteral("The sheet to write, .html or .png, or - for the standard output (default: "
                       "PACKAGE's name with .html, in the current folder)."),
        QStringLiteral("sheet"));
    const QCommandLineOption formatOption(
        QStringLiteral("format"),
        QStringLiteral("html or png (default: from the sheet's suffix; html for -)."),
        QStringLiteral("form"));
    const QCommandLineOption forceOption(QStringLiteral("force"),
                                         QStringLiteral("Replace the sheet when it exists."));
    const QCommandLineOption frameOption(
        QStringLiteral("frame"),
        QStringLiteral("A picture to show colour effects on, instead of the built-in test card."),
        QStringLiteral("image"));
    parser.addOptions({outputOption, formatOption, forceOption, frameOption});
    if (!parseCommandLine(parser, QStringLiteral("preview"), arguments, out, 1,
                          QStringLiteral("one package file")))
        return 0;
    const QString packagePath = existingPackage(parser.positionalArguments().front());
    QString output = parser.value(outputOption);
    if (output.isEmpty())
        output = QFileInfo(packagePath).completeBaseName() + QStringLiteral(".html");
    const bool toStandardOutput = StandardStreams::isDash(output);
    const QString suffix = parser.isSet(formatOption) ? parser.value(formatOption).toLower()
                           : toStandardOutput         ? QStringLiteral("html")
                                                      : QFileInfo(output).suffix().toLower();
    const bool png = suffix == QLatin1String("png");
    if (!png && suffix != QLatin1String("html") && suffix != QLatin1String("htm"))
        throw Error(QStringLiteral("preview: %1: the sheet must be .html or .png (see packwright "
                                   "preview --help)")
                        .arg(parser.isSet(formatOption) ? QStringLiteral("--format ") + suffix
                                                        : QStringLiteral("-o ") + output),
                    2);
    if (toStandardOutput)
        // Both forms carry pictures as bytes, and texts from the package unescaped.
        StandardStreams::refuseTerminal(QStringLiteral("preview"), QStringLiteral("a sheet"));
    else
        refuseExisting(output, parser.isSet(forceOption));
    const QImage frame = parser.isSet(frameOption)
                             ? Preview::ReferenceFrame::fromFile(parser.value(frameOption))
                             : Preview::ReferenceFrame::testCard();

    const Preview::SheetModel model = Preview::SheetReader::read(packagePath, frame);
    QByteArray bytes;
    if (png) {
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::WriteOnly);
        if (!Preview::PngSheetPainter::paint(model).save(&buffer, "PNG"))
            throw Error(QStringLiteral("%1: cannot encode the sheet as PNG").arg(output));
    } else {
        bytes = Preview::HtmlSheetWriter::write(model);
    }
    const QString counted =
        QString::number(model.cards.size()) + (model.cards.size() == 1 ? " item\n" : " items\n");
    if (toStandardOutput) {
        StandardStreams::write(bytes, out);
        if (!Verbosity::quiet())
            err << "the standard output: " << counted;
    } else {
        FS::writeFileAtomically(output, bytes);
        if (!Verbosity::quiet())
            out << output << ": " << counted;
    }
    return 0;
}

}  // namespace Cli
