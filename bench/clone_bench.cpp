// Times OverlayParams::clone on timelines of 10,000 to 300,000 overlay clips (one text item and a
// four-key envelope each), against a copy through the archive (write the XML, read it back), which
// is how clones were made before the model's types copied themselves. The goal at 40,000 clips is
// at least 10 times faster than the archive.
//
//   clone_bench [--benchmark_filter=...] [--benchmark_repetitions=N]

#include <benchmark/benchmark.h>

#include <limits>
#include <map>
#include <memory>

#include "package/build_params.h"
#include "platform/model/timeline_object.h"
#include "platform/serialize/archive.h"

namespace {

std::shared_ptr<Package::OverlayParams> makeParams(int clipCount) {
    auto params = std::make_shared<Package::OverlayParams>();
    auto timeline = std::make_unique<Timeline::Object>();
    timeline->addTrack(QStringLiteral("Titles"));
    timeline->addTrack(QStringLiteral("More titles"));

    Overlay::Item item;
    item.name = QStringLiteral("line");
    item.content = QStringLiteral("Hello");
    item.transform = Types::Transform(0.5, 0, 0, 0, 0.12, 0, 0.1, 0.7, 1);
    Overlay::Preset preset;
    preset.kind = Overlay::Preset::Title;
    preset.appendItem(item);
    Transformation::Envelope envelope;
    for (double step : {0.0, 0.25, 0.75, 1.0}) {
        Transformation::Object value;
        value.x = 0.3 + step * 0.4;
        envelope.keys.emplace_back(step, value);
    }
    for (int i = 0; i < clipCount; ++i) {
        Timeline::Clip clip;
        clip.track = i % 2;
        clip.timing = {qint64(i) * 500, 1000, 0, 1000, Timeline::OverlayContent};
        clip.setOverlayPreset(preset);
        clip.setEnvelope(envelope);
        timeline->addClip(clip);
    }
    params->timeline = params->timelineStorage.adopt(std::move(timeline));
    return params;
}

const Package::OverlayParams& paramsOf(int clipCount) {
    static std::map<int, std::shared_ptr<Package::OverlayParams>> cache;
    auto& params = cache[clipCount];
    if (!params)
        params = makeParams(clipCount);
    return *params;
}

void BM_Clone(benchmark::State& state) {
    const Package::OverlayParams& params = paramsOf(int(state.range(0)));
    for (auto _ : state) {
        Package::OverlayParams copy = params.clone();
        benchmark::DoNotOptimize(copy.timeline);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_CloneThroughArchive(benchmark::State& state) {
    const Package::OverlayParams& params = paramsOf(int(state.range(0)));
    Serialize::ParseLimits unbounded;
    unbounded.maxNodes = std::numeric_limits<qint64>::max();
    for (auto _ : state) {
        Serialize::MemoryContent content;
        Serialize::ObjectStorage storage;
        const QByteArray xml = Serialize::writeArchive(*params.timeline, content);
        auto copy =
            Serialize::readArchive(xml, QStringLiteral("clone"), content, storage, unbounded);
        benchmark::DoNotOptimize(copy.get());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(BM_Clone)->Arg(10'000)->Arg(40'000)->Arg(300'000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CloneThroughArchive)->Arg(10'000)->Arg(40'000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
