// Stores the values of read replies.

#ifndef MICRO850_FUNC_DEALDATA_H
#define MICRO850_FUNC_DEALDATA_H

#include <QByteArray>
#include <QtGlobal>

/// How wide an element is in the store and how the host sees it.
enum RegisterType {
    kRegisterBit = 0,    ///< 1 byte
    kRegisterString = 1, ///< 1 byte a character
    kRegister8Bit = 2,   ///< 1 byte
    kRegister16Bit = 3,  ///< 2 bytes
    kRegister32Bit = 4,  ///< 4 bytes
    kRegister64Bit = 5   ///< 8 bytes
};

/// The register type of a reply's two CIP type bytes; missing bytes count as 0, unknown types are
/// 8-bit.
int getRegType(const QByteArray& typeBytes);

/// Turns an element index into a byte offset and a count of 16-bit registers into a count of
/// elements, modulo 2^32. Always 1.
int getPlcAdd(int regType, quint32& address, quint32& count);

/// Stores the values of a read reply for the request in flight. Caller holds dataMutex on the local
/// path; takes stationStoreMutex.
void SaveToLocalDataErea(QByteArray* reply);

#endif // MICRO850_FUNC_DEALDATA_H
