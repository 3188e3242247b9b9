// Running a transformation on a seeded random image, on the fast path or
// with the reference path forced.
#ifndef BENCH_BENCHFILTERS_H
#define BENCH_BENCHFILTERS_H

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

#include "BenchImages.h"
#include "filters/CTransformation.h"

// Sets the reference switch for one benchmark and restores it afterwards.
struct PathChoice
{
    explicit PathChoice(bool bReference)
    {
        if (bReference)
            setenv("TIRN_REFERENCE", "1", 1);
        else
            unsetenv("TIRN_REFERENCE");
    }
    ~PathChoice() { unsetenv("TIRN_REFERENCE"); }
};

// Sends a file descriptor (1 or 2) to /dev/null for a scope: filters that
// print on every call must not break the benchmark's table.
struct QuietFd
{
    explicit QuietFd(int iFd) : iFd(iFd)
    {
        std::fflush(iFd == 1 ? stdout : stderr);
        iSaved = dup(iFd);
        const int iNull = open("/dev/null", O_WRONLY);
        if (iNull >= 0)
            dup2(iNull, iFd), close(iNull);
    }
    ~QuietFd()
    {
        std::fflush(iFd == 1 ? stdout : stderr);
        if (iSaved >= 0)
            dup2(iSaved, iFd), close(iSaved);
    }
    int iFd;
    int iSaved;
};

// One channel of the benchmark's size through filter.exec(), timed alone.
template <class T> void runFilter(benchmark::State& state, CTransformation<T>& filter,
                                  bool bReference)
{
    const CImage<T> src = randomImage<T>(int(state.range(0)), int(state.range(1)), 1);
    CImage<T> out(1, 1, 1);
    filter.setInput(&src);
    filter.setOutput(&out);
    PathChoice path(bReference);
    for (auto _ : state) {
        filter.exec();
        benchmark::DoNotOptimize(out.getChannelDataPtr(0));
    }
    state.SetItemsProcessed(state.iterations() * src.pixelsPerChannel());
}

#endif
