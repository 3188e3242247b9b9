// The units the plug-in offers the host's networks: one folder, and the one
// list of its icons. Each icon's definition, dialogs and unit live in the
// file of its family.
#include "units/UnitSupport.h"

namespace tirn::units {
const char gacButtonRow[] = " %[%0:1:0:10d %l`Cancel%d%l`Ok%]%H ";
}

namespace {
// Every entry's folder name points at this one string.
const char gacThisFolder[] = "tirnvision";
} // namespace

TIRN_EXPORT const QorIconEntry_ gasIconsOfFolder_tirnvision[] = {
    {gacThisFolder, "CImageToPins", &ICONDEF_CImageToPins, nullptr, nullptr},
    {gacThisFolder, "PinsToCImage", &ICONDEF_PinsToCImage, nullptr, nullptr},
    {gacThisFolder, "display_image", &ICONDEF_display_image, nullptr, nullptr},
    {gacThisFolder, "HSI_RGB_Filter", &ICONDEF_HSI_RGB_Filter, nullptr, nullptr},
    {gacThisFolder, "ConvolutionFilter", &ICONDEF_ConvolutionFilter, nullptr, nullptr},
    {gacThisFolder, "CortLayerFilter", &ICONDEF_CortLayerFilter, nullptr, nullptr},
    {"", "", nullptr, nullptr, nullptr}};

TIRN_EXPORT const QorFolder_ gsFolder_tirnvision = {nullptr, gacThisFolder,
                                                    gasIconsOfFolder_tirnvision};
