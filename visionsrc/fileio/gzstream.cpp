#include "fileio/gzstream.h"

#include <algorithm>
#include <climits>
#include <cstring>

gzstreambuf::gzstreambuf()
{
    setp(nullptr, nullptr);
    setg(buffer + kPutBack, buffer + kPutBack, buffer + kPutBack);
}

gzstreambuf::~gzstreambuf() { close(); }

gzstreambuf* gzstreambuf::open(char const* name, int open_mode)
{
    if (is_open())
        return nullptr;
    if ((open_mode & std::ios::ate) || (open_mode & std::ios::app))
        return nullptr;
    if ((open_mode & std::ios::in) && (open_mode & std::ios::out))
        return nullptr;
    mode = open_mode;
    char acMode[4];
    char* p = acMode;
    if (mode & std::ios::in)
        *p++ = 'r';
    else if (mode & std::ios::out)
        *p++ = 'w';
    *p++ = 'b';
    *p = '\0';
    file = gzopen(name, acMode);
    if (!file)
        return nullptr;
    opened = 1;
    // Only a writing buffer has a put area: characters put into a reading
    // one go to overflow() and are refused.
    if (mode & std::ios::out)
        setp(buffer, buffer + (kBufferSize - 1));
    else
        setp(nullptr, nullptr);
    setg(buffer + kPutBack, buffer + kPutBack, buffer + kPutBack);
    return this;
}

gzstreambuf* gzstreambuf::close()
{
    if (!is_open())
        return nullptr;
    sync();
    opened = 0;
    const int iStatus = gzclose(file);
    file = nullptr;
    return iStatus == Z_OK ? this : nullptr;
}

int gzstreambuf::underflow()
{
    if (gptr() && gptr() < egptr())
        return traits_type::to_int_type(*gptr());
    if (!(mode & std::ios::in) || !opened)
        return traits_type::eof();

    int nPutBack = int(gptr() - eback());
    if (nPutBack > kPutBack)
        nPutBack = kPutBack;
    std::memmove(buffer + (kPutBack - nPutBack), gptr() - nPutBack, nPutBack);

    const int nRead = gzread(file, buffer + kPutBack, kBufferSize - kPutBack);
    if (nRead <= 0)
        return traits_type::eof();
    setg(buffer + (kPutBack - nPutBack), buffer + kPutBack, buffer + kPutBack + nRead);
    return traits_type::to_int_type(*gptr());
}

std::streamsize gzstreambuf::xsgetn(char* s, std::streamsize n)
{
    std::streamsize nDone = 0;
    const std::streamsize nBuffered = std::min<std::streamsize>(n, egptr() - gptr());
    if (nBuffered > 0) {
        std::memcpy(s, gptr(), std::size_t(nBuffered));
        gbump(int(nBuffered));
        nDone = nBuffered;
    }
    if (n - nDone < kBufferSize - kPutBack)
        return nDone + std::streambuf::xsgetn(s + nDone, n - nDone);
    if (!(mode & std::ios::in) || !opened)
        return nDone;
    while (nDone < n) {
        const unsigned nWanted = unsigned(std::min<std::streamsize>(n - nDone, INT_MAX));
        const int nRead = gzread(file, s + nDone, nWanted);
        if (nRead <= 0)
            break;
        nDone += nRead;
    }
    // The get area is used up; the bytes just read stay the put-back area,
    // as after a buffer load.
    const int nPutBack = int(std::min<std::streamsize>(nDone, kPutBack));
    std::memcpy(buffer + (kPutBack - nPutBack), s + nDone - nPutBack, std::size_t(nPutBack));
    setg(buffer + (kPutBack - nPutBack), buffer + kPutBack, buffer + kPutBack);
    return nDone;
}

std::streamsize gzstreambuf::xsputn(const char* s, std::streamsize n)
{
    if (n < kBufferSize - 1)
        return std::streambuf::xsputn(s, n);
    if (!(mode & std::ios::out) || !opened || sync() != 0)
        return 0;
    std::streamsize nDone = 0;
    while (nDone < n) {
        const unsigned nWanted = unsigned(std::min<std::streamsize>(n - nDone, INT_MAX));
        const int nWritten = gzwrite(file, s + nDone, nWanted);
        if (nWritten <= 0)
            break;
        nDone += nWritten;
        if (unsigned(nWritten) < nWanted)
            break;
    }
    return nDone;
}

int gzstreambuf::flush_buffer()
{
    const int nPending = int(pptr() - pbase());
    if (gzwrite(file, pbase(), unsigned(nPending)) != nPending)
        return traits_type::eof();
    pbump(-nPending);
    return nPending;
}

int gzstreambuf::overflow(int c)
{
    if (!(mode & std::ios::out) || !opened)
        return traits_type::eof();
    if (c != traits_type::eof()) {
        *pptr() = traits_type::to_char_type(c);
        pbump(1);
    }
    if (flush_buffer() == traits_type::eof())
        return traits_type::eof();
    return c;
}

int gzstreambuf::sync()
{
    if (pptr() && pptr() > pbase()) {
        if (flush_buffer() == traits_type::eof())
            return -1;
    }
    return 0;
}

gzstreambase::gzstreambase() { init(&buf); }

gzstreambase::gzstreambase(char const* name, int mode)
{
    init(&buf);
    open(name, mode);
}

gzstreambase::~gzstreambase() { buf.close(); }

void gzstreambase::open(char const* name, int mode)
{
    if (!buf.open(name, mode))
        clear(rdstate() | std::ios::badbit);
}

void gzstreambase::close()
{
    if (buf.is_open() && !buf.close())
        clear(rdstate() | std::ios::badbit);
}
