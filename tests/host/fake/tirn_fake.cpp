// A minimal plug-in for testing the host emulator on its own: one class with
// defaults, an overload, a text buffer, an array, a script error and a name
// its table declares but it does not export.
#include <cstring>

#define FAKE_EXPORT extern "C" __attribute__((visibility("default")))

extern "C" void prog_throw(const char* pcKind, const char* pcFormat, ...);
extern "C" void qor_typedef(const char*, int (*)(void*, void*), void* (*)(void*, void*),
                            void (*)(void*));
extern "C" void qor_typedef_basetype(const char*, const char*);

namespace {
struct Counter
{
    float fValue;
    float fStep;
};
int compatible(void*, void*) { return 1; }
void* copy(void* pTarget, void*) { return pTarget; }
void release(void* p) { delete static_cast<Counter*>(p); }
// The float overload of add comes first so that an exact int match has to
// win over a lenient one found earlier in the table.
const char* const kCounter[] = {"Counter_1_:",
                                "float add(float)",
                                "Counter_0_:",
                                "Counter(int iStart=5, float fStep=0.5)",
                                "~Counter()",
                                "float add(int iTimes=1)",
                                "int value()",
                                "void name(char*)",
                                "int sum(byte*)",
                                "int fail(int)",
                                "Counter_1_:",
                                "int missing()",
                                nullptr};
} // namespace

extern "C" {
__attribute__((visibility("default"))) int fake_live_objects = 0;
}
FAKE_EXPORT const char* const* const CLASSES_tirn_fake[] = {kCounter, nullptr};
FAKE_EXPORT const char* const FUNCTIONS_tirn_fake[] = {"Fake_0_:", "int twice(int)", nullptr};

FAKE_EXPORT void vision_type_init()
{
    qor_typedef("fake.Counter", compatible, copy, release);
    qor_typedef_basetype("fake.Counter", "fake.Base");
}
FAKE_EXPORT void vision_type_fini() { qor_typedef("fake.Counter", nullptr, nullptr, nullptr); }

FAKE_EXPORT void* Counter_0_Counter(const int*, void** apArgs)
{
    ++fake_live_objects;
    return new Counter{float(*static_cast<int*>(apArgs[0])), *static_cast<float*>(apArgs[1])};
}
FAKE_EXPORT void Counter_0_FREE_Counter(void* p)
{
    --fake_live_objects;
    delete static_cast<Counter*>(p);
}
FAKE_EXPORT float Counter_0_add(const int*, void** apArgs, void* p)
{
    Counter* c = static_cast<Counter*>(p);
    return c->fValue += float(*static_cast<int*>(apArgs[0])) * c->fStep;
}
FAKE_EXPORT float Counter_1_add(const int*, void** apArgs, void* p)
{
    return static_cast<Counter*>(p)->fValue += *static_cast<float*>(apArgs[0]);
}
FAKE_EXPORT int Counter_0_value(const int*, void**, void* p)
{
    return int(static_cast<Counter*>(p)->fValue);
}
FAKE_EXPORT void Counter_0_name(const int* aiDims, void** apArgs, void*)
{
    char* pc = static_cast<char*>(apArgs[0]);
    std::strncpy(pc, "counter", std::size_t(aiDims[0]));
    pc[aiDims[0]] = '\0';
}
FAKE_EXPORT int Counter_0_sum(const int* aiDims, void** apArgs, void*)
{
    int n = 0;
    for (int i = 0; i < aiDims[0]; ++i)
        n += static_cast<unsigned char*>(apArgs[0])[i];
    return n;
}
FAKE_EXPORT int Counter_0_fail(const int*, void** apArgs, void*)
{
    prog_throw("badarg", "fail %d\n", *static_cast<int*>(apArgs[0]));
    return -1;
}
FAKE_EXPORT int Fake_0_twice(const int*, void** apArgs, void*)
{
    return 2 * *static_cast<int*>(apArgs[0]);
}
