// A controller of a few lines, inside the test's process: it answers what the driver asks, at once
// and without a socket. Strict about nothing; tests make it misbehave by changing its answers.

#ifndef MICRO850_TESTS_TINY_CONTROLLER_H
#define MICRO850_TESTS_TINY_CONTROLLER_H

#include <micro850/host_interface.h>

#include <QByteArray>

namespace controller {

/// CIP elementary types that the tests read.
enum CipType { kBool = 0xC1, kSint = 0xC2, kInt = 0xC3, kDint = 0xC4, kLint = 0xC5, kText = 0xDA };

/// What a request asks for, told by its encapsulation command and CIP service.
enum class Asked { RegisterSession, ForwardOpen, Read, Write };

Asked askedBy(const Protocol& request);

/// Session handle and connection ID are told to the originator and looked at no more.
QByteArray registerSessionReply(quint32 session);
QByteArray forwardOpenReply(quint32 session, quint32 connectionId);

/// A good Read Tag reply with these values, as many of them as there are.
QByteArray readReply(quint8 cipType, const QByteArray& values);

/// A good Write Tag Fragmented reply.
QByteArray writeReply();

/// A refusal of a read or write: 50 bytes and no values.
QByteArray refusal(quint8 generalStatus);

/// The good answer to any request; a read is given these values.
QByteArray goodReply(const Protocol& request, quint8 cipType, const QByteArray& values);

/// The value bytes that a write request carries: the last count of its frame.
QByteArray writtenValues(const Protocol& request, int count);

} // namespace controller

#endif // MICRO850_TESTS_TINY_CONTROLLER_H
