// The resource manager stand-in's dealings with other processes. Internal
// to the emulator: see rm_peers.cpp for why they exist.
#ifndef TVEMUL_RM_PEERS_H
#define TVEMUL_RM_PEERS_H

#include "rm_api.h"

namespace tvemul::rm_peers {

// Start time of a process in clock ticks since boot, 0 when it is gone:
// together with the pid it names one process even after the pid is reused.
unsigned long long process_start(long pid);

// A consumer registered in this process. Its conflict callback can run only
// here, so from the first one on this process listens for requests of the
// others.
void add_consumer(int handle, rm_resource_cb callback, void *user_data);
void remove_consumer(int handle);

// Asks consumer HANDLE, registered by process PID, to give DEVICE back
// through its conflict callback. When it lives in another process, waits
// until STILL_HELD(DEVICE, HANDLE) turns false or [rm] conflict_timeout_ms
// has passed; in this one the callback has returned before this does.
void take_back(long pid, int handle, int device, bool (*still_held)(int device, int handle));

}  // namespace tvemul::rm_peers

#endif
