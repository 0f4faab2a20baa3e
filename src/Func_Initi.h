// The host's lists: cyclic reads, once-reads, writes, tag names, and the plan of the cyclic reads.

#ifndef MICRO850_FUNC_INITI_H
#define MICRO850_FUNC_INITI_H

#include "micro850/host_interface.h"

#include <QList>
#include <QString>

/// The tag names that the host passed; replaced whole by PassVarName().
extern QList<varName> plcAddList;

/// 1 when a tag is to be treated as an array, else 0. The first entry whose name *differs* from
/// name decides: 1 when its kind is 2.
int getPassVarName(QString name);

/// Copies every field but data, which is emptied in to.
void passRetValue(const RW_VAR& from, RW_VAR& to);

/// Sorts by startIndex, ascending; equal entries keep their order.
void Bubble_Sort(QList<RW_VAR>& list);

/// Appends one tag's sorted entries to the read list, neighbours merged and cut into pieces of
/// chunk elements. Caller holds queueMutex.
void BitVarReCreat(QList<RW_VAR>& group, int chunk);

/// Cuts whole chunks off var and appends them to the read list; appends the rest too when emitRest
/// is set. Caller holds queueMutex.
void addressAdd(RW_VAR& var, int chunk, bool emitRest);

#endif // MICRO850_FUNC_INITI_H
