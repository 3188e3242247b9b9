// GraphicsMagick must be initialised once per process before its first use.
// The library has no start-up of its own that runs both inside the host and
// in the tests, so every GraphicsMagick path asks for it first.
#ifndef MAGICKSESSION_H
#define MAGICKSESSION_H

namespace tirn {

// Initialises GraphicsMagick on the first call; later and concurrent calls
// wait for that one. False if it could not be initialised (the reason was
// printed once, on standard output); GraphicsMagick must not be used then.
bool ensureMagickInitialised();

} // namespace tirn

#endif
