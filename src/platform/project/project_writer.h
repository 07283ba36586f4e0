#pragma once

#include <QString>
#include <map>

#include "platform/model/project_content.h"

namespace Project {

// How a project is stored. 0, the only one: a bundle, one zip file holding the serialized content
// as "project.xml" and its images beside it.
enum BundleBackend : qint32 { ZipBundle = 0 };

// The name of the serialized content inside a bundle.
inline const QString bundleContentName = QStringLiteral("project.xml");

// Writes a project's content somewhere.
class Writer {
public:
    virtual ~Writer() = default;
    // Returns false when the project could not be written; errorString() then tells why. A failing
    // disk is thrown instead (FS::Error): it is no property of the project.
    virtual bool write(const Content* content) = 0;
    QString errorString() const { return m_error; }

protected:
    QString m_error;
};

// Writes a self-contained bundle: every media path of the project's timeline is rewritten to the
// portable form base + file name ("./clip.mp4"), so that the bundle works wherever its media lie
// beside it. The bundle appears complete or not at all; its folder is created when missing.
class PortableWriter : public Writer {
public:
    PortableWriter(const QString& bundlePath, const QString& base, BundleBackend backend);

    bool write(const Content* content) override;

    // Each media path that the last written project referred to, mapped to its portable form.
    const std::map<QString, QString>& pathMapping() const { return m_mapping; }

private:
    QString m_bundlePath;
    QString m_base;
    std::map<QString, QString> m_mapping;
};

}  // namespace Project
