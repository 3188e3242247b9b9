#include "filters/RowDriver.h"

#include <sched.h>

#include <exception>
#include <thread>
#include <vector>

namespace tirn {

namespace {

// Below this many pixels per band a thread costs more than it saves
// (starting and joining one is some tens of microseconds).
constexpr long long kPixelsPerBand = 1 << 16;

int coresAvailable()
{
    cpu_set_t set;
    CPU_ZERO(&set);
    if (sched_getaffinity(0, sizeof set, &set) == 0)
        return std::max(CPU_COUNT(&set), 1);
    return std::max(int(std::thread::hardware_concurrency()), 1);
}

} // namespace

int kernelThreads()
{
    if (const char* pcValue = std::getenv("TIRNVISION_THREADS")) {
        char* pcEnd = nullptr;
        const long lThreads = std::strtol(pcValue, &pcEnd, 10);
        if (pcEnd != pcValue && *pcEnd == '\0' && lThreads > 0)
            return int(std::min(lThreads, 256L));
    }
    return coresAvailable();
}

void runBands(int iHeight, long long llPixels, const std::function<void(int, int)>& rows)
{
    if (iHeight <= 0)
        return;
    const long long llByWork = std::max(llPixels / kPixelsPerBand, 1LL);
    const int nBands = int(std::min<long long>({llByWork, kernelThreads(), iHeight}));
    if (nBands <= 1) {
        rows(0, iHeight);
        return;
    }
    auto bandStart = [&](int b) { return int((long long)iHeight * b / nBands); };
    // A band that fails hands its exception to the caller once every band
    // has ended.
    std::vector<std::exception_ptr> failures(static_cast<std::size_t>(nBands));
    auto band = [&](int b, int y0, int y1) {
        try {
            rows(y0, y1);
        } catch (...) {
            failures[std::size_t(b)] = std::current_exception();
        }
    };
    std::vector<std::thread> threads;
    threads.reserve(nBands - 1);
    int iStarted = 1;
    try {
        for (; iStarted < nBands; ++iStarted)
            threads.emplace_back(
                [&, iStarted] { band(iStarted, bandStart(iStarted), bandStart(iStarted + 1)); });
    } catch (...) {
        // No thread to be had: the bands not handed out run here.
    }
    band(0, 0, bandStart(1));
    if (iStarted < nBands)
        band(iStarted, bandStart(iStarted), iHeight);
    for (std::thread& thread : threads)
        thread.join();
    for (const std::exception_ptr& failure : failures)
        if (failure)
            std::rethrow_exception(failure);
}

} // namespace tirn
