// Marks the names the host looks up in the plug-in; everything else stays
// hidden.
#ifndef TIRNEXPORT_H
#define TIRNEXPORT_H

#define TIRN_EXPORT extern "C" __attribute__((visibility("default")))

#endif
