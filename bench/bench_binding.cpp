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

// A filter's parameter setter: name lookup, depth read from the object,
// dispatch, and the 3x3 box mask rebuilt.
void BM_FilterSetterByName(benchmark::State& state)
{
    void* pMean = module().create("CMeanFilter", {Arg::integer(32)});
    for (auto _ : state)
        module().call(pMean, "CMeanFilter", "setNeighborhood", {Arg::integer(3)});
    module().release(pMean);
}

// A 3x3 mean over the three channels of the bench image, run as a script
// runs it; compare with BM_Mean of the convolution benchmarks (the class
// called directly) for what the host boundary adds.
void BM_MeanExecThroughHost(benchmark::State& state)
{
    const int iDepth = int(state.range(0));
    void* pIn = benchImage(iDepth);
    void* pOut = module().create("CImage", {Arg::integer(iDepth)});
    void* pMean = module().create("CMeanFilter", {Arg::integer(iDepth)});
    module().call(pMean, "CMeanFilter", "setNeighborhood", {Arg::integer(3)});
    module().call(pMean, "CMeanFilter", "setInput", {Arg::image(pIn)});
    module().call(pMean, "CMeanFilter", "setOutput", {Arg::image(pOut)});
    for (auto _ : state)
        module().call(pMean, "CMeanFilter", "exec");
    state.SetItemsProcessed(state.iterations() * std::int64_t(1023) * 1024 * 3);
    module().release(pMean);
    module().release(pOut);
    module().release(pIn);
}

} // namespace

BENCHMARK(BM_CallByName);
BENCHMARK(BM_CallResolved);
BENCHMARK(BM_GetImageData)->ArgsProduct({{8, 16, 32}, {0, 1}});
BENCHMARK(BM_FilterSetterByName);
BENCHMARK(BM_MeanExecThroughHost)->Arg(8)->Arg(16)->Arg(32)->Unit(benchmark::kMillisecond);
