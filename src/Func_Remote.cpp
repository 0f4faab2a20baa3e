// The remote hooks, empty: variables of other devices are the host's affair.

#include "Func_Remote.h"

void Remote_ReadVar(RW_VAR*)
{
}

void Remote_WriteVar(RW_VAR*)
{
}
