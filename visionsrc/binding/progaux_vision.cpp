// The plug-in's entry file: what it offers the host.
#include "binding/ClassTables.h"
#include "binding/HostInterface.h"
#include "binding/TirnExport.h"

namespace {
const char kVersion[] = "7.9 17/07/02 KT";
}

// Version record: two pointer-sized fields, both to the version text.
TIRN_EXPORT const char* const Tirn_V_of_tirnvision[2] = {kVersion, kVersion};

#define TIRN_LIST_CLASS_TABLE(table) table,
TIRN_EXPORT const char* const* const CLASSES_tirnvision[] = {
    TIRN_CLASS_TABLES(TIRN_LIST_CLASS_TABLE) nullptr};
#undef TIRN_LIST_CLASS_TABLE

TIRN_EXPORT const char* const FUNCTIONS_tirnvision[] = {TIRN_FUNCTION_LINES nullptr};

// The image pin type's functions (defined beside the image wrappers).
TIRN_EXPORT void* CImage_COPY_CImage(void* pTarget, void* pSource);
TIRN_EXPORT int CImage_COMPATIBLE_CImage(void* pA, void* pB);
TIRN_EXPORT void CImage_FREE_CImage(void* p);
TIRN_EXPORT const char* CImage_DESCRIBE_CImage(void* p);

TIRN_EXPORT const TirnPinType gasVisionPinTypes[] = {
    {"tirnvision.CImage", CImage_COPY_CImage, CImage_COMPATIBLE_CImage, CImage_FREE_CImage,
     CImage_DESCRIBE_CImage, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};

TIRN_EXPORT void vision_type_init()
{
    for (const TirnPinType* p = gasVisionPinTypes; p->pcName; ++p) {
        qor_typedef(p->pcName, p->pfCompatible, p->pfCopy, p->pfFree);
        if (p->pfDescribe)
            qor_typedef_description(p->pcName, p->pfDescribe);
        if (p->pcBaseName)
            qor_typedef_basetype(p->pcName, p->pcBaseName);
    }
}

TIRN_EXPORT void vision_type_fini()
{
    for (const TirnPinType* p = gasVisionPinTypes; p->pcName; ++p)
        qor_typedef(p->pcName, nullptr, nullptr, nullptr);
}
