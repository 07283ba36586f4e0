#include "package/preset_writer.h"

#include <QXmlStreamWriter>

#include "platform/layout/package_structure_description.h"
#include "platform/model/id_source.h"

namespace Package {

PresetWriter::PresetWriter(const std::shared_ptr<Bundle::IContentWriter>& writer,
                           const Bundle::DescriptionParseRules& rules, const QString& name,
                           qint64 size, const QString& uuid)
    : AbstractContentReceiver(writer),
      m_descriptionRules(rules),
      m_contentWriter(writer),
      m_uuid(uuid.isEmpty() ? IdSource::current().newUuid().toString() : uuid) {
    m_contentWriter->writeContent(m_descriptionRules.descriptionFile,
                                  description(m_descriptionRules, name, size, m_uuid));
}

QByteArray PresetWriter::description(const Bundle::DescriptionParseRules& rules,
                                     const QString& name, qint64 size, const QString& uuid) {
    using Rules = Bundle::DescriptionParseRules;
    QByteArray data;
    QXmlStreamWriter xml(&data);
    xml.setCodec("UTF-8");
    xml.setAutoFormatting(true);
    xml.writeStartDocument();
    xml.writeStartElement(Rules::versionsTag);
    xml.writeEmptyElement(Rules::manifestFileTag);
    xml.writeAttribute(Rules::fileTag, rules.contentFile);
    xml.writeAttribute(Rules::versionTag, QString::number(PackageDescription::actualVersion()));
    xml.writeStartElement(Rules::additionalsTag);
    xml.writeTextElement(QStringLiteral("uuid"), uuid);
    xml.writeTextElement(QStringLiteral("name"), name);
    xml.writeTextElement(QStringLiteral("size"), QString::number(size));
    xml.writeTextElement(QStringLiteral("previewPath"), QStringLiteral("preview.png"));
    xml.writeEndElement();
    xml.writeEndElement();
    xml.writeEndDocument();
    return data;
}

}  // namespace Package
