// Lookup and insertion figures of the keyed collection that every model collection uses.
#include "foundation/KeyedCollection.h"

#include <benchmark/benchmark.h>

namespace {

void BM_KeyedCollectionAddThenLookup(benchmark::State& state) {
    const int count = static_cast<int>(state.range(0));
    for (auto _ : state) {
        bx::KeyedCollection<int> collection;
        for (int i = 0; i < count; ++i)
            collection.TryAdd("SFR^Item" + std::to_string(i), std::make_shared<int>(i));
        int found = 0;
        for (int i = 0; i < count; ++i)
            found += collection.Item("SFR^Item" + std::to_string(i)) != nullptr;
        benchmark::DoNotOptimize(found);
    }
    state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(BM_KeyedCollectionAddThenLookup)->Arg(100)->Arg(10000);

} // namespace

BENCHMARK_MAIN();
