// The Python tests' filter chain run on the C++ classes directly: an 8-bit
// pattern, to float, Gaussian, vertical Sobel, 3x3 median. Writes the result
// planar as raw float32 into the file given, for a bit-for-bit comparison.
#include <cstdio>
#include <vector>

#include "filters/CGaussFilter.h"
#include "filters/CMedianFilter.h"
#include "filters/CSobelFilter.h"

namespace {
template <class T> CImage<T> run(CTransformation<T>& filter, const CImage<T>& src)
{
    CImage<T> out(1, 1, 1);
    filter.setInput(&src);
    filter.setOutput(&out);
    filter.exec();
    return out;
}
} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s OUTPUT\n", argv[0]);
        return 2;
    }
    const int w = 23, h = 17, c = 3; // odd sizes reach every border case
    CImage<unsigned char> pattern(w, h, c);
    for (int ch = 0; ch < c; ++ch)
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                pattern.setPixel(x, y, ch, (unsigned char)((x * 37 + y * 11 + ch * 83) % 256));
    const CImage<float> in = pattern.convertTo32Bit();
    CGaussFilter<float> gauss;
    gauss.setBandwidth(1.5f);
    CSobelFilter<float> sobel(3, CSobelFilter<float>::VERTICAL);
    CMedianFilter<float> median;
    median.setNeighborhood(3);
    const CImage<float> out = run(median, run(sobel, run(gauss, in)));
    std::vector<float> data(std::size_t(out.width()) * out.height() * out.channels());
    out.getImageData(data.data(), true);
    std::FILE* f = std::fopen(argv[1], "wb");
    if (!f || std::fwrite(data.data(), sizeof(float), data.size(), f) != data.size()) {
        std::perror(argv[1]);
        return 1;
    }
    return std::fclose(f) == 0 ? 0 : 1;
}
