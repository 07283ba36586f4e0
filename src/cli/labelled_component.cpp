#include "cli/labelled_component.h"

#include <QFileInfo>

#include <exception>
#include <utility>

#include "cli/cli_error.h"
#include "platform/media/media_error.h"

namespace Cli {
namespace {

// Rethrows the exception in flight with `label` and the media file's name in front.
[[noreturn]] void rethrowLabelled(const QString& label) {
    try {
        throw;
    } catch (const Error&) {
        throw;  // the tool's own messages name their place already
    } catch (const Media::Error& error) {
        const QString file = QFileInfo(error.file()).fileName();
        const QString what = QString::fromStdString(error.what());
        if (file.isEmpty())
            throw Error(QStringLiteral("%1: %2").arg(label, what));
        throw Error(QStringLiteral("%1 (%2): %3").arg(label, file, what));
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        throw Error(QStringLiteral("%1: %2").arg(label, QString::fromStdString(error.what())));
    }
}

}  // namespace

LabelledComponent::LabelledComponent(std::shared_ptr<Package::IBuildComponent> inner,
                                     const QString& label)
    : inner_(std::move(inner)), label_(label) {}

Package::ResourceFixupQueue LabelledComponent::build(Package::Object* package) {
    Package::ResourceFixupQueue fixups;
    try {
        fixups = inner_->build(package);
    } catch (...) {
        rethrowLabelled(label_);
    }
    for (Package::ResourceFixup& fixup : fixups) {
        fixup = [inner = std::move(fixup), label = label_](const QString& folder) {
            try {
                inner(folder);
            } catch (...) {
                rethrowLabelled(label);
            }
        };
    }
    return fixups;
}

}  // namespace Cli
