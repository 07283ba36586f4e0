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
#include "cli/verbosity.h"
#include "platform/fs/atomic_file.h"

namespace Cli {

int previewCommand(const QStringList& arguments, QTextStream& out, QTextStream&) {
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
        QStringLiteral("The sheet to write, .html or .png (default: PACKAGE's name with .html, in "
                       "the current folder)."),
        QStringLiteral("sheet"));
    const QCommandLineOption frameOption(
        QStringLiteral("frame"),
        QStringLiteral("A picture to show colour effects on, instead of the built-in test card."),
        QStringLiteral("image"));
    parser.addOption(outputOption);
    parser.addOption(frameOption);
    if (!parseCommandLine(parser, QStringLiteral("preview"), arguments, out, 1,
                          QStringLiteral("one package file")))
        return 0;
    const QString packagePath = existingPackage(parser.positionalArguments().front());
    QString output = parser.value(outputOption);
    if (output.isEmpty())
        output = QFileInfo(packagePath).completeBaseName() + QStringLiteral(".html");
    const QString suffix = QFileInfo(output).suffix().toLower();
    const bool png = suffix == QLatin1String("png");
    if (!png && suffix != QLatin1String("html") && suffix != QLatin1String("htm"))
        throw Error(QStringLiteral("preview: -o %1: the sheet must end in .html or .png (see "
                                   "packwright preview --help)")
                        .arg(output),
                    2);
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
    FS::writeFileAtomically(output, bytes);
    if (!Verbosity::quiet())
        out << output << ": " << model.cards.size()
            << (model.cards.size() == 1 ? " item\n" : " items\n");
    return 0;
}

}  // namespace Cli
