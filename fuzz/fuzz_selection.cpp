// Channel-selection strings, on a source whose channel count may change
// after setInput. The selection count must always equal the number of
// selected channels; exec() then runs over that selection.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "filters/CTransformation.h"

namespace {

class Copy : public CTransformation<unsigned char>
{
public:
    void preOperation() override {}
    void postOperation() override {}
    void singleChannelOperation(const CImage<unsigned char>&, CImage<unsigned char>&) override {}
    void multiChannelOperation(const CImage<unsigned char>&, CImage<unsigned char>&) override {}
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    if (!std::freopen("/dev/null", "w", stdout))
        std::abort();
    return 0;
}

// Byte 0: channels at setInput (up to 765, beyond the 512-symbol pattern);
// byte 1: bit 7 set changes the count to the low bits afterwards, bit 6
// picks multi-channel mode; the rest is the string (up to its first NUL).
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2)
        return 0;
    CImage<unsigned char> source(2, 1, 3 * data[0]);
    CImage<unsigned char> target(1, 1, 1);
    Copy t;
    t.setInput(&source);
    if (data[1] & 0x80)
        source.resize(2, 1, data[1] & 0x3f);
    t.setMutliChannelOp((data[1] & 0x40) != 0);
    const std::string sCommand(reinterpret_cast<const char*>(data) + 2, size - 2);
    const int iResult = t.selectChannel(sCommand.c_str());
    int nSelected = 0;
    for (int c = 0; c < source.channels(); ++c)
        nSelected += t.isSelected(c) ? 1 : 0;
    if (t.selected() != nSelected || (iResult == 0 && nSelected != 0))
        std::abort();
    t.setOutput(&target);
    t.exec();
    return 0;
}
