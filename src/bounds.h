// Bounds on what one input may make the driver allocate. Counts, indexes and lengths come from
// screens and wires; within these bounds results are exact, beyond them the driver refuses.

#ifndef MICRO850_BOUNDS_H
#define MICRO850_BOUNDS_H

/// A tag's stored image. Far above any Micro850 (its whole data memory is a few tens of kilobytes)
/// and enough for 65,536 elements of 64 bits twice over. Values beyond it are not stored.
const int kMaxTagImageBytes = 1024 * 1024;

/// One answer of GetRegisterData(): a full image of 8-bit values, each widened to a register.
const int kMaxAnswerBytes = 2 * kMaxTagImageBytes;

/// What the 16-bit length of an encapsulation header can announce. A tag name or a value that no
/// frame can carry is left out of its request, which the controller then refuses.
const int kMaxEncapsulationLength = 0xFFFF;

/// The longest tag name that still leaves room for the fields of a request around it.
const int kMaxTagNameLength = kMaxEncapsulationLength - 0xFF;

/// Entries of a rebuilt read list. At 2 ms a reply a pass over that many takes nine minutes, which
/// no screen means; a wild count in one address record would ask for a hundred million.
const int kMaxReadListEntries = 256 * 1024;

/// Writes or once-reads that may wait.
const int kMaxWaiting = 1024;

#endif // MICRO850_BOUNDS_H
