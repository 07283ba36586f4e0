#include "generated_recipe.h"

#include <QJsonDocument>

#include <cmath>

#include "test_support.h"

namespace TestSupport {
namespace {

QJsonObject object(const QByteArray& json) {
    return QJsonDocument::fromJson(json).object();
}

}  // namespace

QJsonObject overlayTimeline(std::mt19937& random, const QString& examples) {
    std::uniform_real_distribution<double> unit(0.05, 0.6);
    std::uniform_int_distribution<int> millis(200, 1500);
    const auto rect = [&] {
        return QJsonObject{{"x", unit(random)},
                           {"y", unit(random)},
                           {"width", unit(random) / 2},
                           {"height", unit(random) / 2}};
    };
    QJsonArray clips;
    clips.append(object(R"({"track": 0, "content": "video", "position": 0, "length": 2000,
        "media": {"source": ")" +
                        (examples + "media/beach.mp4").toUtf8() +
                        R"(", "streams": [{"type": "video", "width": 320, "height": 180}]}})"));
    const char* kinds[] = {"title", "callout", "sticker"};
    int position = 0;
    for (int i = 0; i < 3; ++i) {
        const int length = millis(random);
        QJsonObject item{{"name", QStringLiteral("item %1").arg(i)},
                         {"kind", "text"},
                         {"content", QStringLiteral("Text %1 ✓").arg(unit(random))},
                         {"rect", rect()},
                         {"fadeIn", unit(random) / 3}};
        clips.append(
            QJsonObject{{"track", 1 + i % 2},
                        {"content", "overlay"},
                        {"position", position},
                        {"length", length},
                        {"overlay", QJsonObject{{"kind", kinds[i]},
                                                {"name", QStringLiteral("clip %1").arg(i)},
                                                {"duration", length},
                                                {"items", QJsonArray{item}}}},
                        {"keyframes", QJsonArray{QJsonObject{{"step", 0}, {"opacity", 0}},
                                                 QJsonObject{{"step", unit(random)},
                                                             {"x", unit(random)},
                                                             {"rotation", unit(random) * 90},
                                                             {"opacity", 1}}}}});
        position += length / 2;
    }
    QJsonObject pip = object(R"({"track": 2, "content": "video", "position": 300, "length": 1200,
        "media": {"source": ")" +
                             (examples + "media/beach.mp4").toUtf8() +
                             R"(", "streams": [{"type": "video", "width": 320, "height": 180}]},
        "keyframes": [{"step": 0, "opacity": 0}, {"step": 0.25, "opacity": 1}]})");
    // A placement that scales, turns and moves the video.
    const double angle = unit(random) * 3;
    const double a = unit(random);
    const double b = unit(random);
    const QJsonArray turned{std::cos(angle) * a,  std::sin(angle) * a, 0,
                            -std::sin(angle) * b, std::cos(angle) * b, 0,
                            unit(random),         unit(random),        1};
    pip["effects"] = QJsonArray{QJsonObject{{"type", "picture-in-picture"}, {"matrix", turned}}};
    QJsonObject second = pip;
    second["position"] = 900;
    second["track"] = 3;
    second["effects"] = QJsonArray{QJsonObject{{"type", "picture-in-picture"}, {"rect", rect()}}};
    clips.append(second);
    clips.append(pip);
    return QJsonObject{{"scene", QJsonObject{{"width", 1920}, {"height", 1080}}},
                       {"tracks", QJsonArray{"main", "overlays", "more", "picture", "picture 2"}},
                       {"primaryTrack", 0},
                       {"clips", clips}};
}

QJsonArray generatedComponents(std::mt19937& random, const QString& dir, bool intermediate,
                               const QString& examples) {
    std::uniform_int_distribution<int> coin(0, 1);
    const QString preview = (examples + "preview.png");
    const auto metadata = [&](QJsonObject component, int n) {
        if (coin(random))
            component["categories"] = QJsonArray{QStringLiteral("cat %1").arg(n), "shared"};
        if (coin(random))
            component["collectionId"] = QStringLiteral("collection-%1").arg(n);
        if (coin(random))
            component["preview"] = preview;
        return component;
    };
    QJsonArray components;
    const QList<QJsonObject> kinds = {
        object(R"({"kind": "lut-effect", "title": "Warm «é»", "description": "d",
                   "lut": ")" +
               (examples + "effects/warm-afternoon.cube").toUtf8() + "\"}"),
        object(R"({"kind": "shader-effect", "title": "Vignette", "supportsIntensity": true,
                   "intensity": 0.35, "shader": ")" +
               (examples + "effects/soft-vignette.frag").toUtf8() + R"(", "auxImage": ")" +
               (examples + "effects/grain.png").toUtf8() + "\"}"),
        object(R"({"kind": "shader-transition", "title": "Dissolve", "supportsIntensity": true,
                   "intensity": 0.5, "shader": ")" +
               (examples + "effects/soft-vignette.frag").toUtf8() + R"(", "auxImage": ")" +
               (examples + "effects/grain.png").toUtf8() + "\"}"),
        object(R"({"kind": "mask-transition", "source": ")" +
               (examples + "transitions/wipe-mask.png").toUtf8() + "\"}"),
        object(R"({"kind": "overlay-transition", "source": ")" +
               (examples + "transitions/light-leak.mp4").toUtf8() + "\"}"),
        object(R"({"kind": "import", "importKind": "image", "title": "Sunset", "file": ")" +
               (examples + "media/sunset.jpg").toUtf8() + "\"}"),
        object(R"({"kind": "import", "importKind": "video", "title": "Beach", "file": ")" +
               (examples + "media/beach.mp4").toUtf8() + "\"}"),
        object(R"({"kind": "import", "importKind": "audio", "title": "Far away",
                   "remoteUrl": "https://cdn.example.com/far.qpack", "packageName": "far"})"),
    };
    std::vector<int> order(kinds.size());
    for (int i = 0; i < kinds.size(); ++i)
        order[i] = i;
    std::shuffle(order.begin(), order.end(), random);
    for (int i : order)
        components.append(metadata(kinds[i], i));

    // Finished titles, callouts and stickers flattened from timelines with video and keyframes,
    // among the rest.
    const char* overlayTypes[] = {"title", "callout", "sticker"};
    for (int i = 0; i < 3; ++i) {
        const QString file = dir + QStringLiteral("/overlay-%1.json").arg(i);
        TestSupport::writeFile(file, QJsonDocument(overlayTimeline(random, examples)).toJson());
        QJsonObject overlay{{"kind", "overlay"},
                            {"overlayType", overlayTypes[i]},
                            {"timeline", file},
                            {"firstItemSpan", 100 + 50 * i},
                            {"secondItemSpan", 300}};
        if (coin(random))
            overlay["useMediaTiming"] = true;
        else
            overlay["videoTiming"] =
                QJsonObject{{"start", 40}, {"length", 1960}, {"frameRate", 25000}};
        std::uniform_int_distribution<int> at(0, components.size());
        components.insert(at(random), metadata(overlay, 10 + i));
    }

    const QString timeline = dir + "/timeline.json";
    TestSupport::writeFile(timeline, QJsonDocument(overlayTimeline(random, examples)).toJson());
    if (intermediate) {
        components.append(metadata(
            QJsonObject{
                {"kind", "intermediate-overlay"},
                {"overlayType", "callout"},
                {"timeline", timeline},
                {"firstItemSpan", 250},
                {"secondItemSpan", 400},
                {"videoTiming", QJsonObject{{"start", 0}, {"length", 2000}, {"frameRate", 25000}}}},
            20));
    } else {
        components.append(metadata(
            QJsonObject{{"kind", "intro"}, {"title", "Opener"}, {"timeline", timeline}}, 21));
    }
    return components;
}

}  // namespace TestSupport
