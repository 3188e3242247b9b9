// A host window as the emulator keeps it: a framebuffer of 8-bit RGB
// pixels with the position, name and shown state the plug-in gave, the size
// constraints it set, and a PNG snapshot through GraphicsMagick.
//
// Coordinates start at the top-left corner, x to the right, y downwards. A
// rectangle's source is a picture stored bottom row first, as the plug-in's
// images are (its readers put a file's last row first), so the first source
// row is drawn at the rectangle's bottom and pictures stand upright. Pixel
// values become
// grey levels by clamping to 0..255 and truncating toward zero (NaN is 0),
// for every pixel type alike: bytes show as they are, floats 0..255 show
// their integer part, anything above is white and anything below black.
#ifndef TIRNHOST_WINDOW_H
#define TIRNHOST_WINDOW_H

#include <string>
#include <vector>

namespace tirnhost {

// Pixel-type codes of the rectangle writes.
enum PixelType { PixelBytes = 0, PixelShorts = 1, PixelFloats = 2 };

struct SizeConstraints
{
    int minWidth = 0, minHeight = 0;
    int maxWidth = 0, maxHeight = 0; // 0: no limit
    int aspectWidth = 0, aspectHeight = 0;
    int stepWidth = 0, stepHeight = 0;
    bool active = false; // advisory, as window managers treat such hints
};

class Window
{
public:
    Window(const std::string& sName, bool bRgb, bool bShown, int x, int y, int w, int h);

    const std::string& name() const { return m_sName; }
    void setName(const std::string& s) { m_sName = s; }
    bool rgb() const { return m_bRgb; }
    bool shown() const { return m_bShown; }
    void setShown(bool b) { m_bShown = b; }
    int x() const { return m_iX; }
    int y() const { return m_iY; }
    void move(int x, int y) { m_iX = x; m_iY = y; }
    // The second state value: while set, the window keeps its size (the
    // user holds its frame), so units do not resize it.
    bool sizeLocked() const { return m_bSizeLocked; }
    void setSizeLocked(bool b) { m_bSizeLocked = b; }
    int width() const { return m_iWidth; }
    int height() const { return m_iHeight; }
    // The picture stays where it still fits; new area is black.
    void resize(int w, int h);
    void clear();

    SizeConstraints& constraints() { return m_constraints; }
    const SizeConstraints& constraints() const { return m_constraints; }

    // A w x h rectangle from the start of the source (rows of srcW values:
    // its first w columns of its first h rows), each pixel drawn as a
    // zoom x zoom block, the rectangle's top-left corner at (x, y), its
    // first row at the bottom; what falls outside the window is cut off.
    void writeGrey(int x, int y, int w, int h, const void* pData, int srcW, int srcH, int zoom,
                   int pixelType);
    void writeRgb(int x, int y, int w, int h, const void* pRed, const void* pGreen,
                  const void* pBlue, int srcW, int srcH, int zoom, int pixelType);

    // The grey level (rgb windows: the red, green or blue level) at (x, y).
    unsigned char grey(int x, int y) const { return at(x, y, 0); }
    unsigned char at(int x, int y, int c) const;
    // Writes the picture as PNG (grey windows as grey PNG); throws HostError.
    void savePng(const std::string& sPath) const;

private:
    void write(int x, int y, int w, int h, const void* const apPlanes[3], int srcW, int srcH,
               int zoom, int pixelType);

    std::string m_sName;
    bool m_bRgb;
    bool m_bShown;
    bool m_bSizeLocked = false;
    int m_iX, m_iY;
    int m_iWidth = 0, m_iHeight = 0;
    std::vector<unsigned char> m_pixels; // RGB, row after row
    SizeConstraints m_constraints;
};

// The grey level a pixel value shows as.
unsigned char greyLevel(double v);

} // namespace tirnhost

#endif
