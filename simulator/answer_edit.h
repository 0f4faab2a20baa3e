// Falsifies encoded answers, as a fault orders it.
#pragma once

#include "bytes.h"
#include "fault_rule.h"

namespace plcsim {

/// The header alone, with that encapsulation status.
Bytes withStatusOnly(const Bytes& answer, std::uint32_t status);

/// Lengthens the data by zeros or cuts its end; the length field follows.
void resizeData(Bytes& answer, std::int64_t by);

/// Makes the length field lie.
void shiftLengthField(Bytes& answer, std::int64_t by);

/// Changes the field, if the answer is long enough to have it.
void falsify(Bytes& answer, FaultField field);

} // namespace plcsim
