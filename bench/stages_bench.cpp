// The stages of a sort, and a whole one in memory, at growing sizes.

#include <benchmark/benchmark.h>

#include <array>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "bench/generate_bookmarks.h"
#include "engine/tarvel.h"
#include "platform/collation/icu_collator.h"
#include "platform/memory/memory_platform.h"
#include "platform/plist/serialization.h"

namespace tarvel::bench {
namespace {

constexpr const char* kPath = "/f/Bookmarks.plist";
constexpr std::array kShapes = {"shuffled", "real"};

/// A memory platform with the real order of titles.
struct Bench {
  PlistSerialization serialization;
  MemoryPlatform memory{serialization};
  std::unique_ptr<IcuCollator> collator = IcuCollator::forEnvironment();
  Platform platform{serialization,    memory.fileManager, *collator,        memory.uuidSource,
                    memory.systemLog, memory.bundle,      memory.workspace, memory.clock};
  Tarvel tarvel{platform};

  Bench() {
    tarvel.setArrangeFoldersAtTop(true);
    tarvel.setRemoveDuplicates(true);
    tarvel.setRenameSamenamed(true);
    tarvel.setBookmarksFilename(kPath);
  }
};

const std::string& fileOf(benchmark::State& state) {
  static std::map<std::pair<std::int64_t, std::int64_t>, std::string> files;
  const char* const shape = kShapes[static_cast<std::size_t>(state.range(1))];
  state.SetLabel(shape);
  std::string& file = files[{state.range(0), state.range(1)}];
  if (file.empty()) file = binaryForm(generateBookmarks(static_cast<std::size_t>(state.range(0)), 1, shape));
  return file;
}

void finish(benchmark::State& state) { state.SetItemsProcessed(state.iterations() * state.range(0)); }

void read(benchmark::State& state) {
  Bench bench;
  const Data data = Data::copyOf(fileOf(state));
  for (auto step : state) benchmark::DoNotOptimize(bench.serialization.propertyListFromData(data));
  finish(state);
}

void cleanAndOrder(benchmark::State& state) {
  Bench bench;
  const Data data = Data::copyOf(fileOf(state));
  for (auto step : state) {
    state.PauseTiming();
    PropertyListReading reading = bench.serialization.propertyListFromData(data);
    state.ResumeTiming();
    bool didSort = false;
    benchmark::DoNotOptimize(
        bench.tarvel.sortBookmarksWithRootDictionaryAndDidSortFlag(reading.list.root.dictionary(), &didSort));
    state.PauseTiming();
    reading = {};
    state.ResumeTiming();
  }
  finish(state);
}

void write(benchmark::State& state) {
  Bench bench;
  PropertyListReading reading = bench.serialization.propertyListFromData(Data::copyOf(fileOf(state)));
  bool didSort = false;
  const PropertyListDictionary root =
      bench.tarvel.sortBookmarksWithRootDictionaryAndDidSortFlag(reading.list.root.dictionary(), &didSort);
  const PropertyList list{reading.list.tree, root.value()};
  for (auto step : state) benchmark::DoNotOptimize(bench.serialization.dataWithPropertyList(list, 200));
  finish(state);
}

void wholeSort(benchmark::State& state) {
  Bench bench;
  const std::string& file = fileOf(state);
  for (auto step : state) {
    state.PauseTiming();
    bench.memory.fileManager.putFile(kPath, file);
    state.ResumeTiming();
    if (bench.tarvel.sortBookmarks() != TarvelErrorNone) state.SkipWithError("the sort failed");
  }
  finish(state);
}

void sizesAndShapes(benchmark::internal::Benchmark* stage) {
  stage->ArgsProduct({{1000, 10'000, 100'000, 1'000'000}, {0, 1}})->Unit(benchmark::kMillisecond);
}

BENCHMARK(read)->Apply(sizesAndShapes);
BENCHMARK(cleanAndOrder)->Apply(sizesAndShapes);
BENCHMARK(write)->Apply(sizesAndShapes);
BENCHMARK(wholeSort)->Apply(sizesAndShapes);

}  // namespace
}  // namespace tarvel::bench

BENCHMARK_MAIN();
