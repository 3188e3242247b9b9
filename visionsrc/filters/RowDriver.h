// The one way a filter runs its pixels. A filter hands the driver two
// implementations of the same contract: the straightforward transcription
// (the reference) and a row kernel that fills rows [y0, y1). The driver owns
// the choice between them, the row bands for threads and the split of a row
// into border and interior.
#ifndef ROWDRIVER_H
#define ROWDRIVER_H

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <utility>

namespace tirn {

// TIRN_REFERENCE set to anything but "" or "0" forces every filter onto its
// reference. Read at each call so tests can flip it.
inline bool referencePathForced()
{
    const char* pcValue = std::getenv("TIRN_REFERENCE");
    return pcValue && *pcValue && std::strcmp(pcValue, "0") != 0;
}

// Threads a kernel may use: TIRNVISION_THREADS when it is a positive number,
// otherwise the cores this process may run on. 1 runs everything on the
// calling thread. Read at each call.
int kernelThreads();

// Whether the order in which a kernel visits pixels shows in its result (a
// value carried from pixel to pixel, a target that is also read). Only then
// does the driver keep one band.
enum class Visit { AnyOrder, InOrder };

// Calls rows(y0, y1) on disjoint bands covering [0, iHeight), on up to
// kernelThreads() threads. Small jobs stay on the calling thread. Every
// thread started here has ended when this returns, so a kernel keeps no
// thread alive between calls and the capture threads are the only ones the
// library leaves running. An exception of a band reaches the caller once
// every band has ended.
void runBands(int iHeight, long long llPixels, const std::function<void(int, int)>& rows);

// The reference when forced, else the row kernel over the whole height:
// banded unless the visiting order is observable (then called once, even
// for no rows).
template <class Reference, class Rows>
void runKernel(Visit visit, int iHeight, long long llPixels, Reference&& reference, Rows&& rows)
{
    if (referencePathForced()) {
        reference();
        return;
    }
    if (visit == Visit::InOrder) {
        rows(0, iHeight);
        return;
    }
    runBands(iHeight, llPixels, std::function<void(int, int)>(std::forward<Rows>(rows)));
}

// Row y of an iWidth x iHeight image under a window reaching rx columns and
// ry rows from its centre: border(x) for pixels whose window leaves the
// image, interior(x0, x1) once for the run [x0, x1) whose windows do not.
template <class Border, class Interior>
void splitRow(int y, int iWidth, int iHeight, int rx, int ry, Border&& border,
              Interior&& interior)
{
    const int x0 = std::min(std::max(rx, 0), iWidth);
    const int x1 = std::max(iWidth - std::max(rx, 0), x0);
    const bool bInteriorRow = y - ry >= 0 && y + ry < iHeight;
    if (!bInteriorRow || x1 <= x0) {
        for (int x = 0; x < iWidth; ++x)
            border(x);
        return;
    }
    for (int x = 0; x < x0; ++x)
        border(x);
    interior(x0, x1);
    for (int x = x1; x < iWidth; ++x)
        border(x);
}

} // namespace tirn

#endif
