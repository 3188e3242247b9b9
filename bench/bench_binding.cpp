// The host boundary: what a script pays per call and per typed transfer,
// measured through the host emulator on the built plug-in.
#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "TirnHost.h"

namespace {

using tirnhost::Arg;

// One loaded module for the whole run; the emulator takes one at a time.
tirnhost::Module& module()
{
    static tirnhost::Module m(TIRN_MODULE_PATH);
    return m;
}

// A 1023x1024 three-channel image of seeded values, made through the wrappers.
void* benchImage(int iDepth)
{
    tirnhost::Module& m = module();
    void* p = m.create("CImage", {Arg::integer(iDepth), Arg::integer(1023), Arg::integer(1024),
                                  Arg::integer(3)});
    std::vector<float> values(std::size_t(1023) * 1024 * 3);
    unsigned u = 1;
    for (float& v : values)
        v = float((u = u * 1103515245u + 12345u) >> 24);
    m.call(p, "CImage", "setImageData", {Arg::floats(values), Arg::integer(0), Arg::integer(0)});
    return p;
}

// Name lookup, overload choice and argument packing, around a trivial wrapper.
void BM_CallByName(benchmark::State& state)
{
    void* p = benchImage(8);
    for (auto _ : state)
        benchmark::DoNotOptimize(module().call(p, "CImage", "width").i);
    module().release(p);
}

// The same wrapper called as the host calls a resolved name.
void BM_CallResolved(benchmark::State& state)
{
    void* p = benchImage(8);
    auto width = reinterpret_cast<int (*)(const int*, void**, void*)>(
        module().symbol("CImage_width"));
    for (auto _ : state)
        benchmark::DoNotOptimize(width(nullptr, nullptr, p));
    module().release(p);
}

// getImageData into bytes (range 0) or floats (range 1) at each depth:
// direct when the types match, else through a converted temporary.
void BM_GetImageData(benchmark::State& state)
{
    void* p = benchImage(int(state.range(0)));
    std::vector<unsigned char> bytes(std::size_t(1023) * 1024 * 3);
    std::vector<float> floats(bytes.size());
    const bool bFloats = state.range(1) != 0;
    for (auto _ : state) {
        if (bFloats)
            module().call(p, "CImage", "getImageData", {Arg::floats(floats), Arg::integer(1)});
        else
            module().call(p, "CImage", "getImageData", {Arg::bytes(bytes), Arg::integer(1)});
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * std::int64_t(bytes.size()));
    module().release(p);
}

} // namespace

BENCHMARK(BM_CallByName);
BENCHMARK(BM_CallResolved);
BENCHMARK(BM_GetImageData)->ArgsProduct({{8, 16, 32}, {0, 1}});
