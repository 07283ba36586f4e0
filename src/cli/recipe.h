#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <map>
#include <memory>
#include <vector>

namespace Package {
class IBuildComponent;
}

namespace Cli {

// One entry of the recipe's "components" list, read but not yet turned into a component.
struct ComponentEntry {
    int index = 0;
    QString kind;
    QString id;  // the optional "id" that names the component across rebuilds; empty: none
    QJsonObject fields;
};

// A build recipe: what `packwright build` reads. Relative paths are resolved against the recipe's
// folder. See docs/recipe.md.
struct Recipe {
    QString path;    // the recipe file
    QString folder;  // its folder, against which relative paths resolve
    QString name;
    QString previewPath;  // empty: the grey default preview
    QString outputPath;   // empty: "<name>.qpack" beside the recipe
    QString uuid;         // empty: generated
    std::vector<ComponentEntry> components;

    // What a component's ids derive from when the package has a uuid: "id:<id>" for a component
    // with an "id", else its kind and its place among the components of that kind, "lut-effect#2".
    QString identity(const ComponentEntry& entry) const;

    // Reads and checks a recipe file. Throws Cli::Error naming the file and the field.
    static Recipe load(const QString& path);
    // The same from JSON text; `path` names it in messages and gives the folder.
    static Recipe parse(const QByteArray& json, const QString& path);

    // A path of the recipe, absolute: relative ones resolve against the recipe's folder.
    QString resolve(const QString& path) const;

    // Why `name` cannot name a package (its working folder, its file, its description), as
    // `"a/b" must not hold a path separator or be '.' or '..'`; empty when it can.
    static QString nameProblem(const QString& name);
    // Why `text` cannot be a folder or collection id that the package layout puts into its paths
    // (it holds a place marker that a later substitution would replace); empty when it can.
    static QString markerProblem(const QString& text);
    // Throws Cli::Error `<what>: <markerProblem>` for a working folder that the layout would
    // rewrite.
    static void checkWorkingFolder(const QString& what, const QString& folder);

    // The files that building reads: the recipe, its preview and every file that a component
    // names (noted while the components are made), so that no output can replace one of them.
    void noteInput(const QString& path) const { m_inputs << path; }
    QStringList inputs() const;

    // The media that a timeline file names, noted when a component reads it, so that the content
    // checks need not read a large timeline a second time.
    struct TimelineMedia {
        QString path;
        bool video = false;
    };
    void noteTimelineMedia(const QString& timelinePath, std::vector<TimelineMedia> media) const {
        m_timelineMedia[timelinePath] = std::move(media);
    }
    // Null when no component has read that timeline file.
    const std::vector<TimelineMedia>* timelineMedia(const QString& timelinePath) const {
        const auto it = m_timelineMedia.find(timelinePath);
        return it == m_timelineMedia.end() ? nullptr : &it->second;
    }

private:
    mutable QStringList m_inputs;
    mutable std::map<QString, std::vector<TimelineMedia>> m_timelineMedia;
};

}  // namespace Cli
