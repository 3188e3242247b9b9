// Colour maps: a one-, two- or three-channel image rendered as RGB for
// display, through false-colour scales or channel assignments.
#ifndef FILTERS_CCOLORMAP_H
#define FILTERS_CCOLORMAP_H

#include "image/CImage.h"

// The scheme number comes straight from scripts, so every int is a valid
// value of the type; exec() refuses the ones it does not know.
enum TColormapType : int
{
    COLORMAP_GRAY = 0,        // r = g = b = v
    COLORMAP_PSEUDO = 1,      // pseudoColorScale(v)
    COLORMAP_LEHMANN = 2,     // lehmannColorScale(v, 2 pi, 0)
    COLORMAP_HEATED = 3,      // heatedObjectScale(v)
    COLORMAP_MAGENTA = 4,     // magentaScale(v)
    COLORMAP_RED_BLUE = 5,    // (v, 0, w)
    COLORMAP_GREEN_BLUE = 6,  // (0, v, w)
    COLORMAP_HSV = 7,         // hsvTorgb(v, w, 1)
    COLORMAP_MAGENTA_GREEN = 8, // (v, w, v)
    COLORMAP_RGB = 9          // (v, w, u)
};

// The scales expect a value in 0...1 and give r, g, b in 0...1 for it. Some
// inputs write nothing (a NaN value, a hue outside 0...1): the outputs then
// keep what the caller had in them.
void pseudoColorScale(float v, float& r, float& g, float& b);
void lehmannColorScale(float v, float& r, float& g, float& b, float a, float c);
void heatedObjectScale(float v, float& r, float& g, float& b);
void magentaScale(float v, float& r, float& g, float& b);
void hsvTorgb(float h, float s, float v, float& r, float& g, float& b);

// A plain class: the binding reaches depth() through any instantiation, so
// the field layout must not depend on T (pointers and ints only).
template <class T> class CColormap
{
public:
    explicit CColormap(TColormapType type);

    void setType(TColormapType type) { eType = type; }
    void setInput(CImage<T>* pImage) { pInput = pImage; }
    void setOutput(CImage<T>* pImage) { pOutput = pImage; }
    // Prints " depth <d>" on standard output as well.
    int depth();

    // Colour of input pixel (x, y); throws "Wrong number of channels" or
    // "Wrong color type". Values are used unscaled.
    void mapToRGB(int x, int y, float& r, float& g, float& b);
    // Output = input's size, 3 channels, 255 * (r, g, b) per pixel.
    void exec();

private:
    void checkChannels() const;
    void execReference();
    void execFast();
    // Row y of the pseudo colour scale from its left end up to a NaN, which
    // the scale writes nothing for: returns the pixels done. The buffers are
    // the caller's scratch.
    int pseudoColourRow(int y, std::vector<float>& rowValues,
                        std::vector<float>& rowColours) const;

    TColormapType eType;
    CImage<T>* pInput = nullptr;
    CImage<T>* pOutput = nullptr;
    int iDepth;
};

extern template class CColormap<unsigned char>;
extern template class CColormap<unsigned short>;
extern template class CColormap<float>;

#endif
