// A station connected, a host that retries twice, and transactions that go well or fail.

#ifndef MICRO850_TESTS_DISPATCH_FIXTURE_H
#define MICRO850_TESTS_DISPATCH_FIXTURE_H

#include "driver_fixture.h"

#include <gtest/gtest.h>

#include <vector>

const int kRetryLimit = 2;

class Dispatch : public DriverTest {
protected:
    void SetUp() override
    {
        DriverTest::SetUp();
        comInfo.retryLimit = kRetryLimit;
        comInfo.hostHandle = 4242;
        connectStation(1);
        setTypeHeader(1, "Out", "03 c3 00 ff");
    }

    static const QByteArray goodRead() { return readReply("c3 00 34 12"); }

    static RW_VAR write(int hostArea, int hostAddress, int station = 1)
    {
        return named(writeVar("Out", "34 12", 1, station), hostArea, hostAddress);
    }

    static RW_VAR onceRead(int hostArea, int hostAddress, int station = 1)
    {
        RW_VAR var = named(readVar("Once", station), hostArea, hostAddress);
        var.onceFlag = 1;
        return var;
    }

    /// Takes the next request and has its reply length learned.
    void startAndLearn()
    {
        ASSERT_NE(nullptr, ComCommunication());
        ASSERT_EQ(-1, PLC_driver.requests.first().replyLength);
        ASSERT_EQ(kOk, reply(goodRead()));
    }

    /// One good transaction.
    void serveWell()
    {
        startAndLearn();
        const int outcome = reply(goodRead());
        ASSERT_TRUE(outcome == kOk || outcome == kOkRemote) << outcome;
    }

    /// One transaction that times out past the retry limit; returns its last outcome.
    int serveUntilFailed()
    {
        startAndLearn();
        for (int retry = 0; retry < kRetryLimit; ++retry)
            EXPECT_EQ(kResend, reply(QByteArray(), 0));
        return reply(QByteArray(), 0);
    }

    static QList<int> addressesOf(const QList<RW_VAR>& queue)
    {
        QList<int> addresses;
        for (const RW_VAR& var : queue)
            addresses << var.hostAddress;
        return addresses;
    }

    static Protocol& front() { return PLC_driver.requests.first(); }
};

using Events = std::vector<DoneEvent>;

#endif // MICRO850_TESTS_DISPATCH_FIXTURE_H
