// The plug-in's entry file: what it offers the host.
#include "binding/TirnExport.h"

namespace {
const char kVersion[] = "7.9 17/07/02 KT";
}

// Version record: two pointer-sized fields, both to the version text.
TIRN_EXPORT const char* const Tirn_V_of_tirnvision[2] = {kVersion, kVersion};
