#include "fileio/MagickSession.h"

#include <mutex>

#include <Magick++.h>

namespace tirn {

void ensureMagickInitialised()
{
    static std::once_flag initialised;
    std::call_once(initialised, [] { Magick::InitializeMagick(nullptr); });
}

} // namespace tirn
