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
#include <set>
#include <string>
#include <vector>

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include "Network.h"
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


// A network of units. The Module must outlive it, so unloading the plug-in
// takes every live network down first; the Python object then only refuses.
struct NetBox;
std::set<NetBox*> g_nets;

struct NetBox
{
    NetBox() : net(std::make_unique<tirnhost::Network>(module())) { g_nets.insert(this); }
    ~NetBox()
    {
        g_nets.erase(this);
        close();
    }
    void close()
    {
        if (!net)
            return;
        StdoutCapture capture; // a unit's removal may print; it must not reach the terminal
        net.reset();
        capture.finish();
        if (g_module) {
            g_module->takeErrors();
            g_module->takeWarnings();
        }
    }
    tirnhost::Network& get()
    {
        if (!net)
            throw py::value_error("the network is closed");
        return *net;
    }
    // Units are handed to Python as addresses and looked up on every use, so
    // that one the network dropped (or a closed network) cannot be reached.
    tirnhost::Unit* unit(std::uintptr_t h)
    {
        for (tirnhost::Unit* p : get().units())
            if (reinterpret_cast<std::uintptr_t>(p) == h)
                return p;
        throw py::value_error("the unit is not in this network");
    }
    std::unique_ptr<tirnhost::Network> net;
};

// Runs a network operation the way call() runs a prototype: printing
// collected, script errors and warnings handed back; emulator refusals
// (HostError) become ValueError with the emulator's own text.
template <class F>
py::tuple guarded(F f)
{
    tirnhost::Module& m = module();
    py::object result = py::none();
    std::string printed;
    try {
        StdoutCapture capture;
        result = f();
        printed = capture.finish();
    } catch (const tirnhost::HostError& e) {
        m.takeErrors();
        m.takeWarnings();
        throw py::value_error(e.what());
    } catch (...) {
        m.takeErrors();
        m.takeWarnings();
        throw;
    }
    py::list errors, warnings;
    for (const tirnhost::ScriptError& e : m.takeErrors())
        errors.append(py::make_tuple(py::bytes(e.kind), py::bytes(e.message)));
    for (const std::string& w : m.takeWarnings())
        warnings.append(py::bytes(w));
    return py::make_tuple(result, py::bytes(printed), errors, warnings);
}

// (label or number, value, is a text field) as Python lists them.
std::vector<tirnhost::Answer> answersOf(const py::list& items)
{
    std::vector<tirnhost::Answer> out;
    for (const py::handle& item : items) {
        const auto t = item.cast<py::tuple>();
        const std::string value = t[1].cast<std::string>();
        if (py::isinstance<py::str>(t[0]))
            out.emplace_back(t[0].cast<std::string>().c_str(), value);
        else if (t[2].cast<bool>())
            out.push_back(tirnhost::Answer::text(t[0].cast<int>(), value));
        else
            out.emplace_back(t[0].cast<int>(), value);
    }
    return out;
}

std::uintptr_t addr(const void* p) { return reinterpret_cast<std::uintptr_t>(p); }

void bindNetwork(py::module_& mod)
{
    py::class_<NetBox>(mod, "Network")
        .def(py::init<>())
        .def("close", &NetBox::close)
        .def("closed", [](NetBox& b) { return !b.net; })
        .def("create",
             [](NetBox& b, const std::string& sFolder, const std::string& sIcon,
                const py::list& answers) {
                 const auto a = answersOf(answers);
                 return guarded([&] {
                     return py::int_(addr(b.get().create(sFolder, sIcon, a)));
                 });
             })
        .def("apply_second",
             [](NetBox& b, std::uintptr_t u, const py::list& answers) {
                 const auto a = answersOf(answers);
                 return guarded([&] {
                     return py::int_(b.get().applySecondDialog(b.unit(u), a));
                 });
             })
        .def("units",
             [](NetBox& b) {
                 py::list out;
                 for (tirnhost::Unit* p : b.get().units())
                     out.append(addr(p));
                 return out;
             })
        .def("info",
             [](NetBox& b, std::uintptr_t u) {
                 tirnhost::Unit* p = b.unit(u);
                 py::dict d;
                 d["icon"] = p->icon();
                 d["folder"] = p->folder();
                 d["label"] = p->labelText();
                 d["inputs"] = p->inputCount();
                 d["outputs"] = p->outputCount();
                 return d;
             })
        .def("set_input_image",
             [](NetBox& b, std::uintptr_t u, int iPin, std::uintptr_t image) {
                 if (!module().owns(reinterpret_cast<void*>(image)))
                     throw py::value_error("the image is not a live tirnvision image");
                 return guarded([&] {
                     b.get().setInputImage(b.unit(u), iPin, reinterpret_cast<void*>(image));
                     return py::none();
                 });
             })
        .def("connect",
             [](NetBox& b, std::uintptr_t from, int iOut, std::uintptr_t to, int iIn) {
                 return guarded([&] {
                     b.get().connect(b.unit(from), iOut, b.unit(to), iIn);
                     return py::none();
                 });
             })
        .def("run",
             [](NetBox& b, const std::vector<std::uintptr_t>& order) {
                 std::vector<tirnhost::Unit*> units;
                 for (std::uintptr_t u : order)
                     units.push_back(b.unit(u));
                 return guarded([&] { return py::bool_(b.get().run(units)); });
             })
        .def("control",
             [](NetBox& b, std::uintptr_t u, int iCode) {
                 return guarded([&] { return py::int_(b.get().control(b.unit(u), iCode)); });
             })
        .def("remove",
             [](NetBox& b, std::uintptr_t u) {
                 return guarded([&] {
                     b.get().remove(b.unit(u));
                     return py::none();
                 });
             })
        .def("save",
             [](NetBox& b, const std::string& s) {
                 return guarded([&] {
                     b.get().save(s);
                     return py::none();
                 });
             })
        .def("load",
             [](NetBox& b, const std::string& s) {
                 return guarded([&] {
                     b.get().load(s);
                     return py::none();
                 });
             })
        .def("set_value",
             [](NetBox& b, std::uintptr_t u, int iPin, float f) {
                 return guarded([&] {
                     b.unit(u)->setValue(iPin, f);
                     return py::none();
                 });
             })
        .def("value",
             [](NetBox& b, std::uintptr_t u, int iPin) {
                 return guarded([&] { return py::float_(b.unit(u)->value(iPin)); });
             })
        .def("set_group_value",
             [](NetBox& b, std::uintptr_t u, int iGroup, int i, float f) {
                 return guarded([&] {
                     b.unit(u)->setGroupValue(iGroup, i, f);
                     return py::none();
                 });
             })
        .def("group_value",
             [](NetBox& b, std::uintptr_t u, int iGroup, int i) {
                 return guarded([&] { return py::float_(b.unit(u)->groupValue(iGroup, i)); });
             })
        // The output pin's image as it stands (the unit owns it), 0 if none.
        .def("output_image",
             [](NetBox& b, std::uintptr_t u, int iPin) {
                 return guarded([&] {
                     tirnhost::Unit* p = b.unit(u);
                     if (iPin < 0 || iPin >= p->outputCount())
                         throw py::index_error("the unit has no output " + std::to_string(iPin));
                     if (p->outputSpec(iPin).kind != tirnhost::PinKind::Image)
                         throw py::value_error("output " + std::to_string(iPin) +
                                               " is no image pin");
                     return py::int_(addr(p->outputImage(iPin)));
                 });
             })
        // (width, height, rgb, pixels row after row from the top) or None.
        .def("window",
             [](NetBox& b, std::uintptr_t u) -> py::object {
                 const tirnhost::Window* w = b.get().windowOf(b.unit(u));
                 if (!w)
                     return py::none();
                 const int c = w->rgb() ? 3 : 1;
                 std::string px(std::size_t(w->width()) * std::size_t(w->height()) * std::size_t(c),
                                '\0');
                 std::size_t k = 0;
                 for (int y = 0; y < w->height(); ++y)
                     for (int x = 0; x < w->width(); ++x)
                         for (int i = 0; i < c; ++i)
                             px[k++] = char(w->at(x, y, i));
                 return py::make_tuple(w->width(), w->height(), w->rgb(), py::bytes(px));
             })
        .def("save_png", [](NetBox& b, std::uintptr_t u, const std::string& s) {
            return guarded([&] {
                tirnhost::Window* w = b.get().windowOf(b.unit(u));
                if (!w)
                    throw py::value_error("the unit has no window");
                w->savePng(s);
                return py::none();
            });
        });
}

} // namespace

PYBIND11_MODULE(_core, mod)
{
    mod.doc() = "Bridge between the tirnvision package and the host emulator";
    mod.def("load", &load);
    mod.def("unload", [] {
        for (NetBox* p : std::vector<NetBox*>(g_nets.begin(), g_nets.end()))
            p->close();
        g_module.reset();
    });
    mod.def("folder", [] { return module().name(); });
    mod.def("icons", [] {
        py::list out;
        const auto* pFolder = static_cast<const tirnhost::FolderRecord*>(
            module().symbol("gsFolder_" + module().name()));
        for (const tirnhost::IconEntry* p = pFolder ? pFolder->pIcons : nullptr;
             p && p->pcFolder && p->pcIcon && (*p->pcFolder || *p->pcIcon); ++p)
            out.append(std::string(p->pcIcon));
        return out;
    });
    bindNetwork(mod);
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
