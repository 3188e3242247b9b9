// tirn-inspect: what the plug-in offers, read from its own tables through the
// host emulator, with the purposes and parameter meanings of the docs file.
//   tirn-inspect            every class with its purpose, the functions and the unit icons
//   tirn-inspect NAME       every prototype of a class or free function, or a
//                           unit icon's dialogs field by field
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "Dialog.h"
#include "HostRecords.h"
#include "TirnHost.h"

using tirnhost::ClassTable;
using tirnhost::LineKind;
using tirnhost::Prototype;
using tirnhost::ValueType;

namespace {

std::string executableDir()
{
    char buffer[4096];
    const ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    if (n <= 0)
        return ".";
    std::string path(buffer, std::size_t(n));
    return path.substr(0, path.find_last_of('/'));
}

bool exists(const std::string& sPath) { return std::ifstream(sPath).good(); }

// An installed tree first (relative to this program), else the build tree's.
std::string locate(const std::string& sInstalled, const char* pcBuilt)
{
    const std::string installed = executableDir() + "/" + sInstalled;
    return exists(installed) ? installed : pcBuilt;
}

struct Docs
{
    std::map<std::string, std::string> text;

    explicit Docs(const std::string& sPath)
    {
        std::ifstream in(sPath);
        if (!in)
            std::cerr << "tirn-inspect: no descriptions (" << sPath << " unreadable)\n";
        std::string line;
        while (std::getline(in, line)) {
            const std::size_t eq = line.find(" = ");
            if (line.empty() || line[0] == '#' || eq == std::string::npos)
                continue;
            std::string value = line.substr(eq + 3);
            // The {...} checks are the Python package's business.
            const std::size_t brace = value.rfind(" {");
            if (brace != std::string::npos && value.back() == '}')
                value.erase(brace);
            text[line.substr(0, eq)] = value;
        }
    }

    std::string operator[](const std::string& sKey) const
    {
        auto it = text.find(sKey);
        return it == text.end() ? "" : it->second;
    }
};

std::string pad(const std::string& s, std::size_t n)
{
    return s.size() >= n ? s + " " : s + std::string(n - s.size(), ' ');
}

std::string defaultText(const tirnhost::Parameter& p)
{
    if (!p.hasDefault)
        return "";
    if (tirnhost::isArray(p.type))
        return " = null";
    std::ostringstream os;
    if (p.type == ValueType::Int)
        os << " = " << int(p.defaultValue);
    else
        os << " = " << float(p.defaultValue);
    return os.str();
}

// A class's own entry, else the one that its prefix's suffix shares with
// every class ("*_0_exec" for "CGaussFilter_0_exec").
std::string describe(const Docs& docs, const std::string& sClass, const std::string& sKey)
{
    std::string text = docs[sKey];
    if (text.empty() && !sClass.empty() && sKey.compare(0, sClass.size(), sClass) == 0)
        text = docs["*" + sKey.substr(sClass.size())];
    return text;
}

void printPrototype(const Prototype& p, const Docs& docs, const std::string& sClass = "")
{
    std::cout << "  " << p.line << "\n";
    std::cout << "      export      " << p.exportName << "\n";
    const std::string purpose = describe(docs, sClass, p.exportName);
    if (!purpose.empty())
        std::cout << "      purpose     " << purpose << "\n";
    if (p.kind == LineKind::Method)
        std::cout << "      returns     " << tirnhost::typeName(p.result) << "\n";
    for (std::size_t i = 0; i < p.params.size(); ++i) {
        const tirnhost::Parameter& a = p.params[i];
        std::string decl = std::string(tirnhost::typeName(a.type)) +
                           (a.name.empty() ? "" : " " + a.name) + defaultText(a);
        const std::string meaning =
            describe(docs, sClass, p.exportName + "." + std::to_string(i + 1));
        std::cout << (i ? "                  " : "      parameters  ") << i + 1 << "  "
                  << (meaning.empty() ? decl : pad(decl, 24) + meaning) << "\n";
    }
}


// The icons of the plug-in's unit folder, as the host finds them.
std::vector<const tirnhost::IconEntry*> icons(const tirnhost::Module& m)
{
    std::vector<const tirnhost::IconEntry*> out;
    const auto* pFolder =
        static_cast<const tirnhost::FolderRecord*>(m.symbol("gsFolder_" + m.name()));
    for (const tirnhost::IconEntry* p = pFolder ? pFolder->pIcons : nullptr;
         p && p->pcFolder && p->pcIcon && (*p->pcFolder || *p->pcIcon); ++p)
        out.push_back(p);
    return out;
}

std::string number(double v)
{
    std::ostringstream os;
    os << v;
    return os.str();
}

// A dialog's heading: its text up to the first field or line break, without
// the dashes some dialogs start with.
std::string heading(const char* pcDialog)
{
    std::string s = pcDialog ? pcDialog : "";
    s = s.substr(0, s.find('%'));
    const std::size_t b = s.find_first_not_of(" -");
    const std::size_t e = s.find_last_not_of(' ');
    return b == std::string::npos ? "" : s.substr(b, e - b + 1);
}

void printDialog(const char* pcTitle, const char* pcDescription)
{
    std::cout << "\n" << pcTitle << ":";
    const std::string head = heading(pcDescription);
    std::cout << (head.empty() ? "" : " " + head) << "\n";
    try {
        const tirnhost::Dialog d(pcDescription ? pcDescription : "");
        if (d.numericFields().empty() && d.textFields().empty()) {
            std::cout << "  no fields\n";
            return;
        }
        static const std::map<char, const char*> kinds = {
            {'i', "integer"}, {'f', "float"}, {'b', "choice"}, {'t', "text"}};
        std::cout << "  field   kind     range        default  label\n";
        for (const auto* pFields : {&d.numericFields(), &d.textFields()})
            for (const tirnhost::DialogField& f : *pFields) {
                const bool text = f.kind == 't';
                std::cout << "  " << pad((text ? "text " : "") + std::to_string(f.number), 8)
                          << pad(kinds.at(f.kind), 9)
                          << pad(text ? "-"
                                 : f.hasRange ? number(f.minimum) + ".." + number(f.maximum)
                                              : "any",
                                 13)
                          << pad(text ? "\"" + f.text + "\"" : number(f.value), 9) << "\""
                          << f.label << "\"";
                for (std::size_t i = 0; i < f.choices.size(); ++i)
                    std::cout << (i ? "|" : ": ") << f.choices[i];
                std::cout << "\n";
            }
    } catch (const std::exception& e) {
        std::cout << "  the host could not show it: " << e.what() << "\n";
    }
}

bool inspectIcon(const tirnhost::Module& m, const std::string& sName)
{
    for (const tirnhost::IconEntry* p : icons(m)) {
        if (sName != p->pcIcon || !p->pDef)
            continue;
        const tirnhost::IconDef& def = *p->pDef;
        std::cout << "Unit " << p->pcFolder << "/" << p->pcIcon << "\n";
        std::cout << "Label: " << (def.pcLabel && *def.pcLabel ? def.pcLabel : "-") << "\n";
        printDialog("First dialog (creates the unit)", def.pcDialog);
        printDialog("Second dialog (changes it)", def.pcDialog2);
        return true;
    }
    return false;
}

void listAll(const tirnhost::Module& m, const Docs& docs, const std::string& sPath)
{
    auto version = static_cast<const char* const*>(m.symbol("Tirn_V_of_tirnvision"));
    std::cout << "tirnvision " << (version && version[0] ? version[0] : "?") << "  (" << sPath
              << ")\n\nClasses:\n";
    for (const ClassTable& t : m.classes())
        std::cout << "  " << pad(t.name, 22) << docs[t.name] << "\n";
    std::cout << "\nFunctions:\n";
    for (const Prototype& p : m.functions().prototypes)
        std::cout << "  " << pad(p.name, 22) << docs[p.exportName] << "\n";
    const auto units = icons(m);
    std::cout << "\nUnits (folder " << (units.empty() ? m.name() : units[0]->pcFolder) << "):\n";
    for (const tirnhost::IconEntry* p : units)
        std::cout << "  " << pad(p->pcIcon, 22) << (p->pDef ? heading(p->pDef->pcDialog) : "")
                  << "\n";
    std::cout << "\n" << m.classes().size() << " classes, " << m.functions().prototypes.size()
              << " functions, " << units.size() << " units\n";
}

int inspect(const tirnhost::Module& m, const Docs& docs, const std::string& sName)
{
    for (const ClassTable& t : m.classes())
        if (t.name == sName) {
            std::cout << t.name << ": " << docs[t.name] << "\n";
            const std::string depths = docs[t.name + ".depths"];
            std::cout << "Depths accepted: " << (depths.empty() ? "-" : depths)
                      << "\n\nPrototypes:\n";
            for (const Prototype& p : t.prototypes)
                printPrototype(p, docs, t.name);
            return 0;
        }
    bool found = false;
    for (const Prototype& p : m.functions().prototypes)
        if (p.name == sName) {
            if (!found)
                std::cout << "Function " << sName << "\n\nPrototypes:\n";
            printPrototype(p, docs);
            found = true;
        }
    if (found || inspectIcon(m, sName))
        return 0;
    std::cerr << "tirn-inspect: no class, function or unit " << sName << "; classes:";
    for (const ClassTable& t : m.classes())
        std::cerr << " " << t.name;
    std::cerr << "; functions:";
    for (const Prototype& p : m.functions().prototypes)
        std::cerr << " " << p.name;
    std::cerr << "; units:";
    for (const tirnhost::IconEntry* p : icons(m))
        std::cerr << " " << p->pcIcon;
    std::cerr << "\n";
    return 1;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc > 2 || (argc == 2 && argv[1][0] == '-')) {
        std::cerr << "usage: tirn-inspect [CLASS|FUNCTION|UNIT]\n"
                     "  The plug-in is $TIRNVISION_MODULE, else the installed or built one.\n";
        return 2;
    }
    try {
        const std::string path =
            tirnhost::modulePath(locate("../lib/tirnvision/tirnvision.so", TIRN_MODULE_PATH));
        const Docs docs(locate("../share/tirnvision/tirnvision_docs.txt", TIRN_DOCS_PATH));
        const tirnhost::Module m(path);
        if (argc == 1) {
            listAll(m, docs, path);
            return 0;
        }
        return inspect(m, docs, argv[1]);
    } catch (const std::exception& e) {
        std::cerr << "tirn-inspect: " << e.what() << "\n";
        return 1;
    }
}
