#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <vector>

namespace Cli {

// Field names that recipes and timeline files were written with before the tool settled on one
// name per concept (docs/recipe.md, "Names"). The readers take either spelling and then see only
// the current name, so that every message and check names a field one way; the writers write
// only the current names.
class OldSpellings {
public:
    struct Rename {
        // The objects it applies to: "" the root, "components[]" each element of the root's
        // "components" list, "clips[].overlay.items[]" ...
        QString objects;
        QString kind;  // only objects whose "kind" is this; empty: every one
        QString old;
        QString current;
    };

    static const OldSpellings& recipe();
    static const OldSpellings& timeline();

    const std::vector<Rename>& renames() const { return m_renames; }

    // `root` with every old spelling renamed to its current name. An object that gives both is an
    // error naming the file, the old key's line and the field:
    // "recipe.json:14: components[2].path: given twice, as 'path' and as its old spelling 'file'".
    // `json` is the document's text, scanned for the line only then. It rebuilds every list that
    // it changes, which Qt does in time quadratic in the list's length: for small documents.
    QJsonObject apply(const QJsonObject& root, const QByteArray& json, const QString& file) const;

    // Renames the old spellings of one object of the pattern `objects`, at `path` ("clips[3]"),
    // in place, with the same error; true when it renamed any. For readers that take a large
    // document object by object.
    bool renameIn(QJsonObject& object, const QString& objects, const QString& path,
                  const QByteArray& json, const QString& file) const;

private:
    explicit OldSpellings(std::vector<Rename> renames) : m_renames(std::move(renames)) {}

    std::vector<Rename> m_renames;
};

}  // namespace Cli
