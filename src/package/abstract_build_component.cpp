#include "package/abstract_build_component.h"

#include <QCoreApplication>

#include "platform/layout/package_structure_description.h"

namespace Package {
namespace {

// Every component starts with the same grey square. Components share one copy (pixmaps are
// implicitly shared), so that a build of thousands of components does not hold thousands of equal
// pixmaps. The copy lives until the application ends, as pixmaps must.
Types::Image defaultPreview() {
    static Types::Image* shared = nullptr;
    if (!shared) {
        Types::Image image(80, 80);
        image.fill(Qt::gray);
        shared = new Types::Image(image);
        qAddPostRoutine([] {
            delete shared;
            shared = nullptr;
        });
    }
    return *shared;
}

}  // namespace

AbstractBuildComponent::AbstractBuildComponent() : m_preview(defaultPreview()) {}

void AbstractBuildComponent::setCategories(const std::set<QString>& categories) {
    if (&categories != &m_categories)
        m_categories = categories;
}

void AbstractBuildComponent::setPreview(const Types::Image& preview) {
    if (!preview.isNull())
        m_preview = preview;
}

QString AbstractBuildComponent::makeResourcePath(const QString& fileName) {
    return QStringLiteral("%1/%2").arg(PackageStructureDescription::resourcesDir).arg(fileName);
}

}  // namespace Package
