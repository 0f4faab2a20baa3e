// Where every field of the shared records lies. Hosts that were built years ago know these numbers
// and nothing else; a build in which a field has moved stops here. No code.

#include "micro850/host_interface.h"

// With 32-bit pointers, as panels have them. Elsewhere records are wider and hosts are built anew.
#define FIELD_ON_PANELS(record, field, offset)                                                     \
    static_assert(sizeof(void*) != 4 || offsetof(record, field) == (offset),                       \
                  #record "::" #field " has moved")
#define SIZE_ON_PANELS(record, size)                                                               \
    static_assert(sizeof(void*) != 4 || sizeof(record) == (size), #record " has another size")

FIELD_ON_PANELS(RW_VAR, hostArea, 0);
FIELD_ON_PANELS(RW_VAR, hostAddress, 4);
FIELD_ON_PANELS(RW_VAR, accessKind, 8);
FIELD_ON_PANELS(RW_VAR, hostWord3, 12);
FIELD_ON_PANELS(RW_VAR, deviceNo, 16);
FIELD_ON_PANELS(RW_VAR, result, 20);
FIELD_ON_PANELS(RW_VAR, tagName, 24);
FIELD_ON_PANELS(RW_VAR, indexText, 28);
FIELD_ON_PANELS(RW_VAR, dataKind, 32);
FIELD_ON_PANELS(RW_VAR, startIndex, 36);
FIELD_ON_PANELS(RW_VAR, station, 40);
FIELD_ON_PANELS(RW_VAR, count, 44);
FIELD_ON_PANELS(RW_VAR, isArrayTag, 48);
FIELD_ON_PANELS(RW_VAR, onceFlag, 52);
FIELD_ON_PANELS(RW_VAR, data, 56);
SIZE_ON_PANELS(RW_VAR, 60);

FIELD_ON_PANELS(Protocol, frame, 0);
FIELD_ON_PANELS(Protocol, frameLength, 4);
FIELD_ON_PANELS(Protocol, replyLength, 8);
FIELD_ON_PANELS(Protocol, fixedReplyLength, 12);
FIELD_ON_PANELS(Protocol, requestFlags, 16);
FIELD_ON_PANELS(Protocol, var, 20);
FIELD_ON_PANELS(Protocol, reserved0, 80);
FIELD_ON_PANELS(Protocol, reserved1, 84);
FIELD_ON_PANELS(Protocol, reserved2, 88);
SIZE_ON_PANELS(Protocol, 92);

FIELD_ON_PANELS(varName, name, 0);
FIELD_ON_PANELS(varName, kind, 4);
FIELD_ON_PANELS(varName, hostWord, 8);
FIELD_ON_PANELS(varName, elements, 12);
SIZE_ON_PANELS(varName, 16);

FIELD_ON_PANELS(ADDRESS_RECORD, hostByte0, 0);
FIELD_ON_PANELS(ADDRESS_RECORD, dataKind, 1);
FIELD_ON_PANELS(ADDRESS_RECORD, hostBytes, 2);
FIELD_ON_PANELS(ADDRESS_RECORD, indexText, 8);
FIELD_ON_PANELS(ADDRESS_RECORD, tagName, 12);
FIELD_ON_PANELS(ADDRESS_RECORD, count, 16);
SIZE_ON_PANELS(ADDRESS_RECORD, 20);

// The settings hold no pointer, so they are the same everywhere.
#define WORD(field, offset)                                                                        \
    static_assert(offsetof(COM_INFO, field) == (offset), "COM_INFO::" #field " has moved")

WORD(hostWords, 0);
WORD(defaultStation, 24);
WORD(retryLimit, 28);
WORD(failCount, 32);
WORD(multiStation, 36);
WORD(linkWord0, 40);
WORD(framesExpected, 44);
WORD(framesAnswered, 48);
WORD(linkWord1, 52);
WORD(remoteMode, 56);
WORD(localDeviceNo, 60);
WORD(writeMode, 64);
WORD(scanDone, 68);
WORD(hostHandle, 72);
static_assert(sizeof(COM_INFO) == 76, "COM_INFO has another size");
