#pragma once

#include <QString>
#include <memory>

#include "platform/bundle/abstract_content_receiver.h"
#include "platform/bundle/content_writer.h"
#include "platform/bundle/description_parse_rules.h"

namespace Package {

// Writes the package description when it is constructed, then receives the images and blobs of the
// package object while the content file is serialized (images are named "preview..."). Shares the
// content writer it is given. Throws FS::Error when a write fails.
class PresetWriter : public Bundle::AbstractContentReceiver {
public:
    // An empty `uuid` is replaced by a newly generated braced one.
    PresetWriter(const std::shared_ptr<Bundle::IContentWriter>& writer,
                 const Bundle::DescriptionParseRules& rules, const QString& name, qint64 size,
                 const QString& uuid);

    std::shared_ptr<Bundle::IContentWriter> contentWriter() const { return m_contentWriter; }
    // The id written into the description.
    QString uuid() const { return m_uuid; }

    // The description's XML, as the constructor writes it.
    static QByteArray description(const Bundle::DescriptionParseRules& rules, const QString& name,
                                  qint64 size, const QString& uuid);

protected:
    QString imageBaseName() const override { return QStringLiteral("preview"); }
    QString blobBaseName() const override { return QString(); }

private:
    Bundle::DescriptionParseRules m_descriptionRules;
    std::shared_ptr<Bundle::IContentWriter> m_contentWriter;
    QString m_uuid;
};

}  // namespace Package
