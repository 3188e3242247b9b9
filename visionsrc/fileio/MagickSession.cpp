#include "fileio/MagickSession.h"

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <mutex>

#include <Magick++.h>

#include "image/ImageBudget.h"

namespace tirn {

namespace {

// GraphicsMagick decodes a whole file before the reader sees a frame, so
// the budget must bound it from inside: a header declaring a huge canvas is
// refused by GraphicsMagick itself, with its own exception. The limits are
// taken from the budget in force when GraphicsMagick is started.
void limitMagickResources()
{
    using namespace MagickLib;
    const std::uint64_t nBudget = std::min<std::uint64_t>(imageBudget(), INT64_MAX);
    const std::uint64_t nPixels = nBudget / sizeof(PixelPacket);
    SetMagickResourceLimit(MemoryResource, magick_int64_t(nBudget));
    SetMagickResourceLimit(MapResource, magick_int64_t(nBudget));
    SetMagickResourceLimit(PixelsResource, magick_int64_t(nPixels));
    // Our images address columns and rows with int.
    const std::uint64_t nSide = std::min<std::uint64_t>(nPixels, INT32_MAX);
    SetMagickResourceLimit(WidthResource, magick_int64_t(nSide));
    SetMagickResourceLimit(HeightResource, magick_int64_t(nSide));
}

} // namespace

bool ensureMagickInitialised()
{
    static std::once_flag initialised;
    static bool bReady = false;
    std::call_once(initialised, [] {
        MagickLib::ExceptionInfo exception;
        MagickLib::GetExceptionInfo(&exception);
        // The signal handlers belong to the host that loads us: GraphicsMagick
        // is told not to install its own.
        bReady = MagickLib::InitializeMagickEx(nullptr, MAGICK_OPT_NO_SIGNAL_HANDER,
                                               &exception) != 0;
        if (bReady)
            limitMagickResources();
        else
            std::cout << "CImageFileIO: GraphicsMagick cannot be initialised: "
                      << (exception.reason ? exception.reason : "unknown reason")
                      << std::endl;
        MagickLib::DestroyExceptionInfo(&exception);
    });
    return bReady;
}

} // namespace tirn
