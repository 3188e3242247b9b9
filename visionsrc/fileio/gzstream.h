// Standard streams over zlib's gzip files. Reading also accepts plain,
// uncompressed files (zlib reads them transparently).
#ifndef GZSTREAM_H
#define GZSTREAM_H

#include <istream>
#include <ostream>
#include <streambuf>

#include <zlib.h>

class gzstreambuf : public std::streambuf
{
public:
    gzstreambuf();
    ~gzstreambuf() override;

    int is_open() const { return opened; }
    // mode: std::ios open-mode bits; exactly one of in and out, neither ate
    // nor app. Null if the buffer is already open or zlib cannot open it.
    gzstreambuf* open(char const* name, int mode);
    gzstreambuf* close();

    int overflow(int c = traits_type::eof()) override;
    int underflow() override;
    int sync() override;

protected:
    // Blocks of the small buffer's size or more go to zlib in one call
    // instead of one buffer load at a time.
    std::streamsize xsgetn(char* s, std::streamsize n) override;
    std::streamsize xsputn(const char* s, std::streamsize n) override;

private:
    static constexpr int kPutBack = 4;
    static constexpr int kBufferSize = 256 + 47;

    // Writes the pending put area; EOF unless zlib took all of it.
    int flush_buffer();

    gzFile file = nullptr;
    // Reading: kPutBack bytes of put-back area, then the data read. Writing:
    // all but the last byte are the put area; overflow() stores its
    // character in the spare byte when the area is full.
    char buffer[kBufferSize];
    char opened = 0;
    int mode = 0;
};

class gzstreambase : virtual public std::basic_ios<char>
{
public:
    gzstreambase();
    gzstreambase(char const* name, int mode);
    ~gzstreambase() override;

    // A failed open or close sets the bad bit.
    void open(char const* name, int mode);
    void close();
    gzstreambuf* rdbuf() { return &buf; }

protected:
    gzstreambuf buf;
};

class igzstream : public gzstreambase, public std::istream
{
public:
    igzstream() : std::istream(&buf) {}
    // std::istream's constructor resets the stream state, so the file is
    // opened only after it, where a failure stays visible.
    explicit igzstream(char const* name, int mode = std::ios::in) : std::istream(&buf)
    {
        open(name, mode);
    }
    ~igzstream() override {}
    gzstreambuf* rdbuf() { return gzstreambase::rdbuf(); }
    void open(char const* name, int mode = std::ios::in) { gzstreambase::open(name, mode); }
};

class ogzstream : public gzstreambase, public std::ostream
{
public:
    ogzstream() : std::ostream(&buf) {}
    explicit ogzstream(char const* name, int mode = std::ios::out) : std::ostream(&buf)
    {
        open(name, mode);
    }
    ~ogzstream() override {}
    gzstreambuf* rdbuf() { return gzstreambase::rdbuf(); }
    void open(char const* name, int mode = std::ios::out) { gzstreambase::open(name, mode); }
};

#endif
