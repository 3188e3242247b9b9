// Writes the seed corpora: make_seeds DIR fills DIR/<target>/ with small
// files made by the library's own writers (and, for the formats it only
// reads, headers built here), so no binary file lives in the repository.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <zlib.h>

#include "fileio/CImageFileIO.h"

namespace {

using Bytes = std::vector<unsigned char>;
std::string sRoot;

std::string dir(const std::string& sTarget)
{
    const std::string s = sRoot + "/" + sTarget;
    mkdir(s.c_str(), 0755);
    return s;
}

Bytes readFile(const std::string& sPath)
{
    Bytes b;
    if (FILE* f = std::fopen(sPath.c_str(), "rb")) {
        int c;
        while ((c = std::fgetc(f)) != EOF)
            b.push_back(static_cast<unsigned char>(c));
        std::fclose(f);
    }
    return b;
}

void writeFile(const std::string& sPath, const Bytes& b, std::size_t nSkip = 0)
{
    FILE* f = std::fopen(sPath.c_str(), "wb");
    if (!f)
        std::exit(1);
    if (b.size() > nSkip)
        std::fwrite(b.data() + nSkip, 1, b.size() - nSkip, f);
    std::fclose(f);
}

Bytes gunzip(const std::string& sPath)
{
    Bytes b;
    gzFile f = gzopen(sPath.c_str(), "rb");
    unsigned char ac[4096];
    int n;
    while (f && (n = gzread(f, ac, sizeof ac)) > 0)
        b.insert(b.end(), ac, ac + n);
    if (f)
        gzclose(f);
    return b;
}

template <class T> CImage<T> ramp(int w, int h, int c)
{
    CImage<T> image(w, h, c);
    for (int ch = 0; ch < c; ++ch)
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                image.setPixel(x, y, ch, T(40 * ch + 7 * y + 3 * x));
    image.setChannelInfo("seed", 0);
    return image;
}

template <class T> void ownFormats(const char* pcName, CImage<T> image)
{
    const std::string sMtx = dir("fuzz_mtx") + "/" + pcName + ".mtx";
    CImageFileIO<T>().save(&image, sMtx.c_str(), FORMAT_MTX, IMAGE_SINGLE);
    const Bytes plain = gunzip(sMtx);
    writeFile(dir("fuzz_mtx") + "/" + pcName + ".plain", plain);
    writeFile(dir("fuzz_mtx_gzip") + "/" + pcName, plain);

    const std::string sGipl = dir("fuzz_gipl") + "/" + pcName + ".gipl";
    CImageFileIO<T>().save(&image, sGipl.c_str(), FORMAT_GIPL, IMAGE_SINGLE);
    // The .Z target puts the two magic bytes in front itself.
    const std::string sZ = dir("fuzz_gipl_z") + "/" + pcName;
    const std::string sCommand = "compress -f -c < '" + sGipl + "' > '" + sZ + ".tmp'";
    if (std::system(sCommand.c_str()) == 0)
        writeFile(sZ, readFile(sZ + ".tmp"), 2);
    std::remove((sZ + ".tmp").c_str());
}

template <class T> void magickFormats(const char* pcName, CImage<T> image, TImageType type)
{
    for (const char* pcExtension : {"png", "gif", "bmp", "pnm"}) {
        const std::string sPath = dir("fuzz_magick") + "/" + pcName + "." + pcExtension;
        CImageFileIO<T>().save(&image, sPath.c_str(), FORMAT_DEFAULT, type);
    }
    const std::string sTiff = dir("fuzz_tiff") + "/" + pcName + ".tif";
    CImageFileIO<T>().save(&image, sTiff.c_str(), FORMAT_DEFAULT, type);
}

// ERDAS/LAN is read-only: a header of the documented layout, built here.
void lanSeed(const char* pcName, std::uint16_t nBands, std::int32_t iWidth, std::int32_t iHeight)
{
    Bytes b(128, 0);
    std::memcpy(b.data(), "HEAD74", 6);
    std::memcpy(&b[8], &nBands, 2);
    std::memcpy(&b[16], &iWidth, 4);
    std::memcpy(&b[20], &iHeight, 4);
    for (int i = 0; i < nBands * iWidth * iHeight; ++i)
        b.push_back(static_cast<unsigned char>(i * 13));
    writeFile(dir("fuzz_lan") + "/" + pcName, b);
}

void textSeed(const char* pcTarget, const char* pcName, const std::string& s)
{
    writeFile(dir(pcTarget) + "/" + pcName, Bytes(s.begin(), s.end()));
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    sRoot = argv[1];
    mkdir(sRoot.c_str(), 0755);
    if (!std::freopen("/dev/null", "w", stdout))
        return 1;

    ownFormats("u8", ramp<unsigned char>(3, 2, 1));
    ownFormats("u16", ramp<unsigned short>(2, 2, 2));
    ownFormats("f32", ramp<float>(3, 1, 3));
    magickFormats("grey", ramp<unsigned char>(5, 3, 1), IMAGE_SINGLE);
    magickFormats("rgb", ramp<unsigned char>(4, 3, 3), IMAGE_SINGLE);
    magickFormats("stack", ramp<unsigned char>(3, 2, 2), IMAGE_CHANNEL_STACK);
    lanSeed("one", 1, 3, 2);
    lanSeed("three", 3, 2, 2);

    textSeed("fuzz_selection", "plain", std::string("\x01\x00X#X", 5));
    textSeed("fuzz_selection", "counts", std::string("\x02\x40" "2#X 1 2x*", 11));
    textSeed("fuzz_selection", "shrunk", std::string("\x03\x82" "#+", 4));
    textSeed("fuzz_selection", "bad", std::string("\x01\x00X?X", 5));
    textSeed("fuzz_prototype", "table",
             "CImage_:\nCImage(int iDepth=32, int iWidth=1, int iHeight=1, int iChannels=1)\n"
             "~CImage()\nCOPY_CImage()\nint load(char* pcPath, char* pcFormat)\n"
             "class CImage rotate(float,float=-1,float=-1)\nCImage_1_:\nvoid clear(int)\n"
             "CImage8_:\nvoid setImageData(byte*,int,int,int=0)\nvoid getPixel(int,int,float*)");
    // Dialog answers for each of the folder's six icons, and a description.
    textSeed("fuzz_dialog", "display", "\x02Mode=gray\nZoom=2\n#1=3");
    textSeed("fuzz_dialog", "conv",
             "\x04" "Filtertype=1.G\nOrientation=45\nDepth of Input-CImage=32-bit");
    textSeed("fuzz_dialog", "pins", std::string(1, '\0') + "#0=2\n#1=5\n#2=5");
    textSeed("fuzz_dialog", "topins", "\x01#0=1\n#1=3");
    textSeed("fuzz_dialog", "hsi", "\x03#0=0\n#1=1");
    textSeed("fuzz_dialog", "cort", "\x05#0=1\n$0=abc");
    textSeed("fuzz_dialog", "description",
             "\x40 Type : %0:9:0b%lMean|Gauss|Sobel%n Size: %1:25:3i%n Gain %-1:1:0.5f"
             "%n Name %{abc%}%10t%n %[%0:1:0:10d %l`Cancel%d%l`Ok%]%H \n2");
    return 0;
}
