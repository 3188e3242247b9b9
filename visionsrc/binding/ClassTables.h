// What the plug-in offers the host's interpreter. A class joins by adding
// its table to TIRN_CLASS_TABLES (the host learns the classes in this order)
// and defining the table beside its wrappers; a free function by adding its
// lines to TIRN_FUNCTION_LINES.
#ifndef CLASSTABLES_H
#define CLASSTABLES_H

#define TIRN_CLASS_TABLES(X)                                                           \
    X(CImage_c)                                                                        \
    X(CImageTVGrab_c)                                                                  \
    X(CImageUSBGrab_c)                                                                 \
    X(CMedianFilter_c)                                                                 \
    X(CsimpleMedian_c)                                                                 \
    X(CCombineChannel_c)                                                               \
    X(CNormalizeRGB_c)                                                                 \
    X(CDistance_c)                                                                     \
    X(CThreshold_c)                                                                    \
    X(CGenericConvolution_c)                                                           \
    X(CGaussFilter_c)                                                                  \
    X(CColormap_c)                                                                     \
    X(CMeanFilter_c)                                                                   \
    X(CSobelFilter_c)                                                                  \
    X(CRankFilter_c)                                                                   \
    X(CShadingFilter_c)                                                                \
    X(CSelectChannel_c)                                                                \
    X(CHsiRgbFilter_c)                                                                 \
    X(CConvolutionFilter_c)                                                            \
    X(CYuv2Rgb_c)

// Lines of FUNCTIONS_tirnvision before its terminating null, each followed by
// a comma: the colour-matching functions.
#define TIRN_FUNCTION_LINES                                                            \
    "CColorFilters_0_:",                                                               \
        "class CImage DiffImage(class CImage, class CImage)",                          \
        "class CImage blob_emph(class CImage, float*,int,int)",                        \
        "class CImage HistogramDistance(class CImage, float *, float, float, float*)", \
        "class CImage PointerDistance(class CImage, float *, float, float, float*)",

// A class table: a marker line ("Prefix_:"), then prototypes and further
// markers, then a null.
#define TIRN_DECLARE_CLASS_TABLE(table) extern const char* const table[];
TIRN_CLASS_TABLES(TIRN_DECLARE_CLASS_TABLE)
#undef TIRN_DECLARE_CLASS_TABLE

#endif
