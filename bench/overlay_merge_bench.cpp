// Times FinalOverlayBuildComponent::mergeOverlays on timelines of 10,000 to 1,000,000 overlay
// clips, each with one item and a four-key envelope that the merge trims. The clips are added in
// shuffled order, so the merge's clip ordering does real work. Google Benchmark fits the growth
// (the goal is n log n) and reports it as "BigO"; the goal for a million clips is under 3 s.
//
// The timed runs reuse the process's heap, as a long-lived editor does. The first run of each
// size also pays for the kernel handing over fresh pages (a merged million-item preset is about
// 700 MB); it is timed apart and shown as the counter "first_run_ms".
//
//   overlay_merge_bench [--benchmark_filter=...] [--benchmark_repetitions=N]

#include <benchmark/benchmark.h>

#include <QGuiApplication>

#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <map>
#include <memory>
#include <numeric>
#include <random>

#include "package/components/overlays/final_overlay_build_component.h"

namespace {

// Opens the merge step to the benchmark.
class MergeProbe : public Package::FinalOverlayBuildComponent {
public:
    using FinalOverlayBuildComponent::FinalOverlayBuildComponent;
    using FinalOverlayBuildComponent::mergeOverlays;
};

std::shared_ptr<Timeline::Object> makeTimeline(int clipCount) {
    auto timeline = std::make_shared<Timeline::Object>();
    timeline->addTrack(QStringLiteral("Titles"));
    timeline->addTrack(QStringLiteral("More titles"));

    Overlay::Item item;
    item.kind = Overlay::Item::Text;
    item.name = QStringLiteral("line");
    item.content = QStringLiteral("Hello");
    Overlay::Preset preset;
    preset.kind = 1;
    preset.appendItem(item);

    Transformation::Envelope envelope;
    for (double step : {0.0, 0.3, 0.6, 1.0}) {
        Transformation::Object value;
        value.x = step;
        envelope.keys.emplace_back(step, value);
    }

    std::vector<int> order(clipCount);
    std::iota(order.begin(), order.end(), 0);
    std::shuffle(order.begin(), order.end(), std::mt19937(7));
    for (int i : order) {
        Timeline::Clip clip;
        clip.track = i % 2;
        // Clips overlap across the two tracks; the in-point hides the first key of each.
        clip.timing = {qint64(i) * 500, 2000, 400, 1000, Timeline::OverlayContent};
        clip.setOverlayPreset(preset);
        clip.setEnvelope(envelope);
        timeline->addClip(clip);
    }
    return timeline;
}

void BM_MergeOverlays(benchmark::State& state) {
    const int clipCount = int(state.range(0));
    // Timelines are built once per size: building them is not what is measured.
    static std::map<int, std::shared_ptr<Timeline::Object>> timelines;
    auto& timeline = timelines[clipCount];
    if (!timeline)
        timeline = makeTimeline(clipCount);

    Package::OverlayParams params;
    params.firstItemSpan = 300;
    params.secondItemSpan = 300;
    MergeProbe component(params);
    const auto merge = [&] {
        Overlay::Preset preset;
        preset.duration = timeline->duration();
        component.mergeOverlays(timeline.get(), &preset);
        benchmark::DoNotOptimize(preset.items.data());
        return preset.items.size();
    };

    const auto start = std::chrono::steady_clock::now();
    if (merge() != size_t(clipCount))
        state.SkipWithError("the merge lost items");
    const std::chrono::duration<double, std::milli> firstRun =
        std::chrono::steady_clock::now() - start;
    state.counters["first_run_ms"] = firstRun.count();

    for (auto _ : state)
        merge();
    state.SetComplexityN(clipCount);
    state.SetItemsProcessed(state.iterations() * clipCount);
}

BENCHMARK(BM_MergeOverlays)
    ->RangeMultiplier(10)
    ->Range(10000, 1000000)
    ->Arg(300000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oNLogN);

}  // namespace

// A component's preview is a pixmap, so the benchmark runs inside a QGuiApplication.
int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    // Keep freed memory in the heap instead of returning it to the kernel between runs.
    mallopt(M_TRIM_THRESHOLD, INT_MAX);
    mallopt(M_MMAP_THRESHOLD, 512 * 1024 * 1024);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
