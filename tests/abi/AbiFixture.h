// The plug-in loaded through the host emulator, fresh for every test, with
// shorthands for the CImage class.
#ifndef TESTS_ABIFIXTURE_H
#define TESTS_ABIFIXTURE_H

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "TirnHost.h"

namespace abitest {

using tirnhost::Arg;
using tirnhost::ScriptError;
using tirnhost::Value;
using tirnhost::ValueType;

inline Arg I(int i) { return Arg::integer(i); }
inline Arg F(float f) { return Arg::real(f); }

// The host sees an image handle as opaque; these tests also forge handles of
// a depth no image has, which needs the start of the image's layout: the
// channel list (one std::vector, three pointers), then depth, width, height,
// channel count and the name. AbiImage.DepthCodesDefaultsAndRefusedDepths checks
// this against real images.
struct ForgedImage
{
    void* apChannels[3] = {nullptr, nullptr, nullptr}; // an empty channel list
    int iDepth = 0;
    int iWidth = 0;
    int iHeight = 0;
    int iChannels = 0;
    char acName[64] = "forged";
};

class AbiTest : public ::testing::Test
{
protected:
    void SetUp() override { m = std::make_unique<tirnhost::Module>(TIRN_MODULE_PATH); }

    void* image(int iDepth, int w = 1, int h = 1, int c = 1)
    {
        return m->create("CImage", {I(iDepth), I(w), I(h), I(c)});
    }
    Value call(void* pImage, const std::string& sMethod, const std::vector<Arg>& args = {})
    {
        return m->call(pImage, "CImage", sMethod, args);
    }
    int callInt(void* pImage, const std::string& sMethod, const std::vector<Arg>& args = {})
    {
        return call(pImage, sMethod, args).i;
    }
    // Width, height and channel count as one number (while each is below 10).
    int shape(void* pImage)
    {
        return callInt(pImage, "width") * 100 + callInt(pImage, "height") * 10 +
               callInt(pImage, "channels");
    }
    float pixel(void* pImage, int x, int y, int c = 0)
    {
        return call(pImage, "getPixel", {I(x), I(y), I(c)}).f;
    }
    void setPixel(void* pImage, int x, int y, int c, float v)
    {
        call(pImage, "setPixel", {I(x), I(y), I(c), F(v)});
    }
    // All pixels of one channel through getPixel, row by row.
    std::vector<float> channel(void* pImage, int c = 0)
    {
        std::vector<float> values;
        const int w = callInt(pImage, "width"), h = callInt(pImage, "height");
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                values.push_back(pixel(pImage, x, y, c));
        return values;
    }
    // An image whose pixel (x, y, c) holds 100c + 10y + x.
    void* numbered(int iDepth, int w, int h, int c = 1)
    {
        void* p = image(iDepth, w, h, c);
        for (int k = 0; k < c; ++k)
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x)
                    setPixel(p, x, y, k, float(100 * k + 10 * y + x));
        return p;
    }
    // A one-row, one-channel image holding the given values.
    void* row(int iDepth, const std::vector<float>& values)
    {
        void* p = image(iDepth, int(values.size()), 1, 1);
        for (std::size_t x = 0; x < values.size(); ++x)
            setPixel(p, int(x), 0, 0, values[x]);
        return p;
    }
    std::vector<ScriptError> errors() { return m->takeErrors(); }
    static std::string stdoutOf(const std::function<void()>& run)
    {
        std::fflush(stdout);
        ::testing::internal::CaptureStdout();
        run();
        std::fflush(stdout);
        return ::testing::internal::GetCapturedStdout();
    }

    std::unique_ptr<tirnhost::Module> m;
};

typedef std::vector<ScriptError> Errors;
typedef std::vector<float> Floats;

const int kDepths[] = {8, 16, 32};

} // namespace abitest

#endif
