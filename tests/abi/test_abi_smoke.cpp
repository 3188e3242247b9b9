// Every prototype of the CImage table called the way the host would, at every
// depth, on a fresh odd-sized image: nothing may crash or leak, image results
// are new owned handles of the image's depth, and the only script error is
// the one the arguments provoke on purpose.
#include <list>

#include "AbiFixture.h"

namespace abitest {
namespace {

using tirnhost::LineKind;
using tirnhost::Prototype;

class AbiSmoke : public AbiTest
{
protected:
    // One argument per declared parameter: 1 for numbers (a valid channel of
    // a three-channel image), an empty text (no file is touched), arrays
    // large enough for any transfer, and a second image of the same shape.
    std::vector<Arg> argumentsFor(const Prototype& p, int iDepth)
    {
        std::vector<Arg> args;
        for (const tirnhost::Parameter& param : p.params) {
            switch (param.type) {
            case ValueType::Int: args.push_back(I(1)); break;
            case ValueType::Float: args.push_back(F(1.0f)); break;
            case ValueType::Text:
                m_texts.emplace_back(65, '\0');
                args.push_back(Arg::textBuffer(m_texts.back()));
                break;
            case ValueType::Bytes:
                m_bytes.emplace_back(1024, 0);
                args.push_back(Arg::bytes(m_bytes.back()));
                break;
            case ValueType::Floats:
                m_floats.emplace_back(1024, 0.0f);
                args.push_back(Arg::floats(m_floats.back()));
                break;
            case ValueType::Image: args.push_back(Arg::image(image(iDepth, 5, 3, 3))); break;
            case ValueType::Void: break;
            }
        }
        return args;
    }

    std::list<std::vector<char>> m_texts;
    std::list<std::vector<unsigned char>> m_bytes;
    std::list<std::vector<float>> m_floats;
};

TEST_F(AbiSmoke, EveryImageMethodAtEveryDepth)
{
    const tirnhost::ClassTable& table = m->classTable("CImage");
    int nCalls = 0;
    for (int iDepth : {8, 16, 32}) {
        for (const Prototype& p : table.prototypes) {
            if (p.kind != LineKind::Method)
                continue;
            void* pImage = image(iDepth, 5, 3, 3);
            const std::vector<Arg> args = argumentsFor(p, iDepth);
            const std::size_t nOwned = m->ownedCount();
            Value v;
            stdoutOf([&] { v = m->callExport(p.exportName, p.result, pImage, args); });
            ++nCalls;
            if (p.result == ValueType::Image && v.handle) {
                EXPECT_TRUE(m->owns(v.handle)) << p.line;
                EXPECT_EQ(m->ownedCount(), nOwned + 1) << p.line;
                EXPECT_EQ(callInt(v.handle, "depth"), iDepth) << p.line;
            }
            const Errors expected =
                p.name == "histogram" ? Errors{{"badop", "wrong histogram dimension\n"}}
                                      : Errors{};
            EXPECT_EQ(errors(), expected) << p.line << " at depth " << iDepth;
            EXPECT_EQ(callInt(pImage, "depth"), iDepth) << p.line;
        }
    }
    EXPECT_EQ(nCalls, 3 * 49);
}

} // namespace
} // namespace abitest
