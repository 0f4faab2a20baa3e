// Records as tests need them, most fields left at their defaults.

#ifndef MICRO850_TESTS_RECORDS_H
#define MICRO850_TESTS_RECORDS_H

#include "bytes.h"

#include <micro850/host_interface.h>

#include <QList>
#include <QPair>

/// A resolved single value, ready for the read list or the once-read queue.
inline RW_VAR readVar(const char* tag, int station = 0, int count = 1)
{
    RW_VAR var;
    var.tagName = text(tag);
    var.station = station;
    var.count = count;
    return var;
}

/// A resolved range of an array tag.
inline RW_VAR arrayVar(const char* tag, int startIndex, int count, int station = 0)
{
    RW_VAR var = readVar(tag, station, count);
    var.isArrayTag = 1;
    var.startIndex = startIndex;
    var.indexText = QString::number(startIndex);
    return var;
}

/// A resolved write of a single value, as SetRegisterData() makes it.
inline RW_VAR writeVar(const char* tag, const char* dataHex, int count = 1, int station = 0)
{
    RW_VAR var = readVar(tag, station, count);
    var.accessKind = kAcceptWithoutStore;
    var.onceFlag = 2;
    var.data = hex(dataHex);
    return var;
}

/// The same variable under another identity of the host's.
inline RW_VAR named(RW_VAR var, int hostArea, int hostAddress)
{
    var.hostArea = hostArea;
    var.hostAddress = hostAddress;
    return var;
}

inline varName knownTag(const char* name, int kind)
{
    varName tag;
    tag.name = text(name);
    tag.kind = kind;
    return tag;
}

inline ADDRESS_RECORD address(const char* tag, const char* index, int count, int dataKind = 0)
{
    ADDRESS_RECORD record;
    record.tagName = text(tag);
    record.indexText = text(index);
    record.count = count;
    record.dataKind = static_cast<quint8>(dataKind);
    return record;
}

/// First element and count of each entry of a list, in its order.
inline QList<QPair<int, int>> ranges(const QList<RW_VAR>& vars)
{
    QList<QPair<int, int>> result;
    for (const RW_VAR& var : vars)
        result.append(qMakePair(int(var.startIndex), int(var.count)));
    return result;
}

#endif // MICRO850_TESTS_RECORDS_H
