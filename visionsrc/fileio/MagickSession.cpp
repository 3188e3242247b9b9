#include "fileio/MagickSession.h"

#include <iostream>
#include <mutex>

#include <Magick++.h>

namespace tirn {

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
        if (!bReady)
            std::cout << "CImageFileIO: GraphicsMagick cannot be initialised: "
                      << (exception.reason ? exception.reason : "unknown reason")
                      << std::endl;
        MagickLib::DestroyExceptionInfo(&exception);
    });
    return bReady;
}

} // namespace tirn
