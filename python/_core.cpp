// The Python package's bridge to the host emulator: one loaded plug-in, the
// parsed tables as plain data, and calls of one chosen prototype. Argument
// checks and overload choice live in Python; this layer only converts values,
// collects what the library printed on standard output, and hands back the
// script errors that the call raised.
#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include "TirnHost.h"

namespace py = pybind11;
using tirnhost::Arg;
using tirnhost::ValueType;

namespace {

std::unique_ptr<tirnhost::Module> g_module;

// Standard output of the library goes to a temporary file for the length of
// a call (a pipe would block once a call printed more than its buffer holds).
// One file serves every call, emptied after each.
class StdoutCapture
{
public:
    StdoutCapture()
    {
        static std::FILE* s_pFile = std::tmpfile();
        if (!s_pFile)
            throw std::runtime_error("cannot create a temporary file for the library's output");
        m_pFile = s_pFile;
        std::fflush(stdout);
        std::cout.flush();
        m_iSaved = dup(1);
        dup2(fileno(m_pFile), 1);
    }
    // A call that threw leaves its text behind; the next call must not show it.
    ~StdoutCapture()
    {
        restore();
        if (!m_bFinished)
            finish();
    }

    std::string finish()
    {
        restore();
        m_bFinished = true;
        std::string text;
        const int fd = fileno(m_pFile);
        const off_t size = lseek(fd, 0, SEEK_END);
        text.resize(size > 0 ? std::size_t(size) : 0);
        std::size_t done = 0;
        while (done < text.size()) {
            const ssize_t n = pread(fd, &text[done], text.size() - done, off_t(done));
            if (n <= 0)
                break;
            done += std::size_t(n);
        }
        text.resize(done);
        (void)!ftruncate(fd, 0);
        lseek(fd, 0, SEEK_SET);
        return text;
    }

private:
    void restore()
    {
        if (m_iSaved < 0)
            return;
        std::fflush(stdout);
        std::cout.flush();
        dup2(m_iSaved, 1);
        close(m_iSaved);
        m_iSaved = -1;
    }
    std::FILE* m_pFile = nullptr;
    int m_iSaved = -1;
    bool m_bFinished = false;
};

tirnhost::Module& module()
{
    if (!g_module)
        throw std::runtime_error("the tirnvision plug-in is not loaded");
    return *g_module;
}

py::dict describePrototype(const tirnhost::Prototype& p)
{
    py::list params;
    for (const tirnhost::Parameter& a : p.params)
        params.append(py::make_tuple(tirnhost::typeName(a.type), a.name, a.hasDefault,
                                     a.defaultValue));
    static const char* const kinds[] = {"method", "constructor", "destructor", "pin"};
    py::dict d;
    d["line"] = p.line;
    d["kind"] = kinds[int(p.kind)];
    d["result"] = tirnhost::typeName(p.result);
    d["name"] = p.name;
    d["export"] = p.exportName;
    d["params"] = params;
    return d;
}

py::list describeTable(const tirnhost::ClassTable& t)
{
    py::list protos;
    for (const tirnhost::Prototype& p : t.prototypes)
        protos.append(describePrototype(p));
    return protos;
}

const tirnhost::ClassTable& table(const std::string& sClass)
{
    return sClass.empty() ? module().functions() : module().classTable(sClass);
}

// args: (type name, value) pairs as the Python side prepared them; arrays
// come as (address, element count), images as handles.
std::vector<Arg> convert(const py::list& args)
{
    std::vector<Arg> out;
    for (const py::handle& item : args) {
        const auto pair = item.cast<py::tuple>();
        const std::string type = pair[0].cast<std::string>();
        const py::object value = pair[1];
        if (type == "int")
            out.push_back(Arg::integer(value.cast<int>()));
        else if (type == "float")
            out.push_back(Arg::real(value.cast<float>()));
        else if (type == "class CImage")
            out.push_back(Arg::image(reinterpret_cast<void*>(value.cast<std::uintptr_t>())));
        else if (type == "char*" && py::isinstance<py::bytes>(value))
            out.push_back(Arg::text(value.cast<std::string>()));
        else {
            const auto array = value.cast<py::tuple>();
            ValueType t = type == "char*"    ? ValueType::Text
                          : type == "byte*"  ? ValueType::Bytes
                          : type == "float*" ? ValueType::Floats
                                             : ValueType::Void;
            if (t == ValueType::Void)
                throw std::invalid_argument("unknown argument type " + type);
            out.push_back(Arg::borrowed(t, reinterpret_cast<void*>(array[0].cast<std::uintptr_t>()),
                                        array[1].cast<int>()));
        }
    }
    return out;
}

py::tuple call(const std::string& sClass, int iPrototype, std::uintptr_t object, const py::list& args)
{
    tirnhost::Module& m = module();
    const tirnhost::ClassTable& t = table(sClass);
    if (iPrototype < 0 || std::size_t(iPrototype) >= t.prototypes.size())
        throw std::out_of_range("no prototype " + std::to_string(iPrototype));
    const std::vector<Arg> converted = convert(args);
    tirnhost::Value v;
    std::string printed;
    try {
        StdoutCapture capture;
        v = m.callPrototype(t, t.prototypes[std::size_t(iPrototype)],
                            reinterpret_cast<void*>(object), converted);
        printed = capture.finish();
    } catch (...) {
        m.takeErrors(); // they belong to the call that failed, not to the next
        throw;
    }
    py::list errors;
    for (const tirnhost::ScriptError& e : m.takeErrors())
        errors.append(py::make_tuple(py::bytes(e.kind), py::bytes(e.message)));
    py::object result = py::none();
    switch (v.type) {
    case ValueType::Int: result = py::int_(v.i); break;
    case ValueType::Float: result = py::float_(v.f); break;
    case ValueType::Image: result = py::int_(reinterpret_cast<std::uintptr_t>(v.handle)); break;
    default:
        if (t.prototypes[std::size_t(iPrototype)].kind == tirnhost::LineKind::Constructor)
            result = py::int_(reinterpret_cast<std::uintptr_t>(v.handle));
        break;
    }
    return py::make_tuple(result, py::bytes(printed), errors);
}

void load(const std::string& sPath)
{
    if (g_module)
        throw std::runtime_error("the tirnvision plug-in is loaded already");
    // The plug-in binds the host's entry points from the global scope, and
    // Python opened this extension locally: make its symbols global first.
    Dl_info info;
    if (!dladdr(reinterpret_cast<void*>(&load), &info) ||
        !dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_GLOBAL))
        throw std::runtime_error("cannot export the host entry points");
    g_module = std::make_unique<tirnhost::Module>(sPath);
}

} // namespace

PYBIND11_MODULE(_core, mod)
{
    mod.doc() = "Bridge between the tirnvision package and the host emulator";
    mod.def("load", &load);
    mod.def("unload", [] { g_module.reset(); });
    mod.def("loaded", [] { return bool(g_module); });
    mod.def("classes", [] {
        py::list out;
        for (const tirnhost::ClassTable& t : module().classes())
            out.append(py::make_tuple(t.name, describeTable(t)));
        return out;
    });
    mod.def("functions", [] { return describeTable(module().functions()); });
    mod.def("call", &call);
    mod.def("owns", [](std::uintptr_t h) {
        return g_module && g_module->owns(reinterpret_cast<void*>(h));
    });
    mod.def("release", [](std::uintptr_t h) {
        if (!g_module || !g_module->owns(reinterpret_cast<void*>(h)))
            return false;
        g_module->release(reinterpret_cast<void*>(h));
        // Nothing reports a free's errors to Python; they must not be
        // mistaken for the next call's.
        g_module->takeErrors();
        return true;
    });
    mod.def("owned_count", [] { return g_module ? g_module->ownedCount() : std::size_t(0); });
    mod.def("version", [] {
        auto record = static_cast<const char* const*>(module().symbol("Tirn_V_of_tirnvision"));
        return std::string(record && record[0] ? record[0] : "");
    });
}
