// Leaks of third-party libraries that the leak checker would otherwise
// report against our tests.
//
// GraphicsMagick keeps a 16 KiB buffer that it allocates in OpenBlob while
// SetImageInfo sniffs a gzip-compressed file whose format it cannot name
// (an .MTX file handed to it by extension, for instance); the failed read
// never frees it. Nothing on our side holds or can release it. The library
// is built without frame pointers, so the leak's stack ends in its
// allocator: that frame is the one to match.
extern "C" __attribute__((visibility("default"), used)) const char*
__lsan_default_suppressions()
{
    return "leak:MagickMallocCleared\n";
}
