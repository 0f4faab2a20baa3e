// Hooks for variables that another device serves.

#ifndef MICRO850_FUNC_REMOTE_H
#define MICRO850_FUNC_REMOTE_H

#include "micro850/host_interface.h"

/// Does nothing.
void Remote_ReadVar(RW_VAR* var);

/// Does nothing.
void Remote_WriteVar(RW_VAR* var);

#endif // MICRO850_FUNC_REMOTE_H
