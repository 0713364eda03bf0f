// The public header with its names visible: everything else is compiled hidden. Every
// file of this library includes this one first instead of zelipc/zelipc.h.
#ifndef WORKSTATION_ZELIPC_ZELIPC_EXPORT_H
#define WORKSTATION_ZELIPC_ZELIPC_EXPORT_H

#pragma GCC visibility push(default)
#include "zelipc/zelipc.h"
#pragma GCC visibility pop

#endif  // WORKSTATION_ZELIPC_ZELIPC_EXPORT_H
