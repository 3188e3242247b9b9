#include "Dialog.h"

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "TirnHost.h"

namespace tirnhost {

namespace {

std::string trim(const std::string& s)
{
    const std::size_t b = s.find_first_not_of(" \t");
    if (b == std::string::npos)
        return "";
    return s.substr(b, s.find_last_not_of(" \t") - b + 1);
}

std::string labelOf(const std::string& sPending)
{
    std::string s = trim(sPending);
    if (!s.empty() && s.back() == ':')
        s = trim(s.substr(0, s.size() - 1));
    return s;
}

std::string number(double d)
{
    char ac[32];
    std::snprintf(ac, sizeof ac, "%g", d);
    return ac;
}

std::string nameOf(const DialogField& f)
{
    return "field " + std::to_string(f.number) + (f.label.empty() ? "" : " \"" + f.label + "\"");
}

// Whether d truncated toward zero is an int.
bool fitsInt(double d)
{
    return d > -2147483649.0 && d < 2147483648.0;
}

bool parseNumber(const std::string& s, double& d)
{
    if (s.empty())
        return false;
    char* pEnd = nullptr;
    d = std::strtod(s.c_str(), &pEnd);
    return *pEnd == '\0' && std::isfinite(d);
}

} // namespace

Dialog::Dialog(const std::string& sDesc)
{
    std::string pending; // text since the last field or line break
    const std::size_t n = sDesc.size();
    std::size_t i = 0;
    std::size_t at = 0; // where the current % starts
    auto fail = [&](const std::string& sWhat) {
        throw HostError("dialog description, position " + std::to_string(at) + ": " + sWhat);
    };
    while (i < n) {
        if (sDesc[i] != '%') {
            pending += sDesc[i++];
            continue;
        }
        at = i;
        if (++i >= n)
            fail("a lone % at the end");
        const char c = sDesc[i];
        if (c == '%') {
            pending += '%';
            ++i;
        } else if (c == 'n') {
            pending.clear();
            ++i;
        } else if (c == '[') {
            const std::size_t end = sDesc.find("%]", i);
            if (end == std::string::npos)
                fail("a button row without its closing %]");
            m_bButtons = true;
            pending.clear();
            i = end + 2;
        } else if (c == '{') {
            const std::size_t end = sDesc.find("%}", i);
            if (end == std::string::npos)
                fail("a text preset without its closing %}");
            DialogField f;
            f.kind = 't';
            f.text = sDesc.substr(i + 1, end - i - 1);
            i = end + 2;
            // The width that completes the field: "%23t".
            std::size_t j = i;
            if (j < n && sDesc[j] == '%') {
                ++j;
                while (j < n && std::isdigit(static_cast<unsigned char>(sDesc[j])))
                    ++j;
            }
            if (j >= n || sDesc[j] != 't')
                fail("a text preset not followed by its %<width>t");
            i = j + 1;
            f.number = int(m_text.size());
            f.label = labelOf(pending);
            pending.clear();
            m_text.push_back(f);
        } else if (c == 'l') {
            if (m_numeric.empty() || m_numeric.back().kind != 'b')
                fail("labels (%l) that follow no choice field");
            DialogField& f = m_numeric.back();
            const std::size_t start = ++i;
            while (i < n && sDesc[i] != ' ' && sDesc[i] != '%')
                ++i;
            const std::string labels = sDesc.substr(start, i - start);
            std::size_t from = 0;
            for (std::size_t bar; (bar = labels.find('|', from)) != std::string::npos;
                 from = bar + 1)
                f.choices.push_back(labels.substr(from, bar - from));
            f.choices.push_back(labels.substr(from));
            if (!f.hasRange) {
                f.hasRange = true;
                f.minimum = 0;
                f.maximum = double(f.choices.size()) - 1;
            }
        } else if (std::isdigit(static_cast<unsigned char>(c)) || c == '-' || c == '+' ||
                   c == '.' || c == 'i' || c == 'f' || c == 'b' || c == 't') {
            const std::size_t start = i;
            while (i < n && (std::isdigit(static_cast<unsigned char>(sDesc[i])) ||
                             sDesc[i] == '-' || sDesc[i] == '+' || sDesc[i] == '.' ||
                             sDesc[i] == ':'))
                ++i;
            if (i >= n)
                fail("a field without its letter");
            const char kind = sDesc[i++];
            const std::string spec = sDesc.substr(start, i - 1 - start);
            if (kind == 't') { // a text field with no preset
                DialogField f;
                f.kind = 't';
                f.number = int(m_text.size());
                f.label = labelOf(pending);
                pending.clear();
                m_text.push_back(f);
                continue;
            }
            if (kind == 'd') // a layout width outside the button row
                continue;
            if (kind != 'i' && kind != 'f' && kind != 'b')
                fail(std::string("unknown field letter '") + kind + "'");
            std::vector<double> parts;
            std::size_t from = 0;
            for (;;) {
                const std::size_t colon = spec.find(':', from);
                double d = 0;
                const std::string part = spec.substr(from, colon - from);
                if (!part.empty() && !parseNumber(part, d))
                    fail("\"" + part + "\" is not a number");
                parts.push_back(d);
                if (colon == std::string::npos)
                    break;
                from = colon + 1;
            }
            if (parts.size() > 3)
                fail("a field with more than minimum, maximum and default");
            DialogField f;
            f.kind = kind;
            f.number = int(m_numeric.size());
            f.label = labelOf(pending);
            pending.clear();
            if (parts.size() == 1) {
                f.value = parts[0];
            } else {
                f.hasRange = true;
                f.minimum = parts[0];
                f.maximum = parts[1];
                f.value = parts.size() == 3 ? parts[2] : parts[0];
            }
            if (kind != 'f' && !fitsInt(f.value))
                fail("an integer preset outside the int range");
            m_numeric.push_back(f);
        } else { // layout letters such as %H
            ++i;
        }
    }
}

DialogField& Dialog::numeric(int k)
{
    return const_cast<DialogField&>(static_cast<const Dialog&>(*this).numeric(k));
}

const DialogField& Dialog::numeric(int k) const
{
    if (k < 0 || k >= int(m_numeric.size()))
        throw HostError("the dialog has no numeric field " + std::to_string(k) + " (it has " +
                        std::to_string(m_numeric.size()) + ")");
    return m_numeric[std::size_t(k)];
}

void Dialog::set(DialogField& f, const std::string& sValue)
{
    if (f.kind == 't') {
        f.text = sValue;
        return;
    }
    if (f.kind == 'b')
        for (std::size_t c = 0; c < f.choices.size(); ++c)
            if (f.choices[c] == sValue) {
                f.value = double(c);
                return;
            }
    double d = 0;
    if (!parseNumber(sValue, d)) {
        std::string sExpected = "a number";
        if (f.kind == 'b') {
            sExpected = "one of ";
            for (std::size_t c = 0; c < f.choices.size(); ++c)
                sExpected += (c ? "|" : "") + f.choices[c];
        }
        throw HostError("dialog " + nameOf(f) + ": \"" + sValue + "\" is not " + sExpected);
    }
    if (f.kind != 'f' && d != std::trunc(d))
        throw HostError("dialog " + nameOf(f) + ": " + sValue + " is not a whole number");
    if (f.kind != 'f' && !fitsInt(d))
        throw HostError("dialog " + nameOf(f) + ": " + sValue + " is outside the int range");
    if (f.hasRange && (d < f.minimum || d > f.maximum))
        throw HostError("dialog " + nameOf(f) + ": " + sValue + " is outside its range " +
                        number(f.minimum) + ".." + number(f.maximum));
    f.value = d;
}

void Dialog::answer(int iField, const std::string& sValue) { set(numeric(iField), sValue); }

void Dialog::answerText(int iField, const std::string& sValue)
{
    if (iField < 0 || iField >= int(m_text.size()))
        throw HostError("the dialog has no text field " + std::to_string(iField));
    m_text[std::size_t(iField)].text = sValue;
}

void Dialog::answer(const std::string& sLabel, const std::string& sValue)
{
    DialogField* pFound = nullptr;
    int iCount = 0;
    for (auto* pFields : {&m_numeric, &m_text})
        for (DialogField& f : *pFields)
            if (f.label == sLabel) {
                pFound = &f;
                ++iCount;
            }
    if (!pFound)
        throw HostError("the dialog has no field labelled \"" + sLabel + "\"");
    if (iCount > 1)
        throw HostError("the dialog has " + std::to_string(iCount) + " fields labelled \"" +
                        sLabel + "\"; answer them by number");
    set(*pFound, sValue);
}

// A float field may hold any number; the plug-in reading it as an int gets
// a HostError rather than an undefined conversion.
int Dialog::ival(int k) const
{
    const DialogField& f = numeric(k);
    if (!fitsInt(f.value))
        throw HostError("dialog " + nameOf(f) + ": " + number(f.value) +
                        " read as an int is outside the int range");
    return int(f.value);
}

double Dialog::fval(int k) const { return numeric(k).value; }

const std::string& Dialog::tval(int k) const
{
    if (k < 0 || k >= int(m_text.size()))
        throw HostError("the dialog has no text field " + std::to_string(k) + " (it has " +
                        std::to_string(m_text.size()) + ")");
    return m_text[std::size_t(k)].text;
}

} // namespace tirnhost
