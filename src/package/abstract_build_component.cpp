#include "package/abstract_build_component.h"

#include "platform/layout/package_structure_description.h"

namespace Package {
namespace {

Types::Image defaultPreview() {
    Types::Image image(80, 80);
    image.fill(Qt::gray);
    return image;
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
