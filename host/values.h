// From the driver's registers to values people read, and back.

#ifndef PANELHOST_VALUES_H
#define PANELHOST_VALUES_H

#include "cip_type.h"
#include "frame_view.h"

#include <QByteArray>

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace panelhost {

/// Texts are UTF-8 here, whatever the controller's characters are.
using Value = std::variant<bool, std::int64_t, std::uint64_t, float, double, std::string>;

/// The bytes that a text really has in a reply's value bytes, its length fields included; -1 when the
/// reply holds fewer than its length field promises. The driver's store keeps the tail of a longer
/// predecessor, so only the reply knows.
int measureText(const CipType& type, ByteView valueBytes);

/// 16-bit host registers that hold count elements. textSize is measureText()'s answer.
unsigned int registersFor(const CipType& type, int count, int textSize);

/// Decodes count elements from the bytes that the driver handed over. Types handed over byte by byte
/// are put together, 8-bit values get their sign, texts their true length. Empty when bytes are
/// missing.
std::vector<Value> decodeRegisters(const CipType& type, const QByteArray& registers, int count,
                                   int textSize);

/// As shown to people: BOOL 0 or 1, numbers in their shortest exact form, texts in double quotes with
/// escapes, bit strings as 16#hex.
std::string formatValue(const CipType& type, const Value& value);

/// The same without quotes and escapes, for machines.
std::string plainValue(const CipType& type, const Value& value);

/// The number a value stands for; texts give 0.
double toNumber(const Value& value);

/// Parses one element. Throws UsageError when text does not fit the type, for example "300 does not
/// fit SINT (-128..127)".
Value parseValue(const CipType& type, const std::string& text);

/// The bytes SetRegisterData() takes for these elements.
QByteArray encodeRegisters(const CipType& type, const std::vector<Value>& values);

/// The count SetRegisterData() takes for them.
int writeCount(const CipType& type, const std::vector<Value>& values);

constexpr int kMaxTextLength = 255;

} // namespace panelhost

#endif // PANELHOST_VALUES_H
