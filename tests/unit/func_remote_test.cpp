// The hooks for variables that another device serves do nothing.

#include "Func_Remote.h"
#include "driver_fixture.h"

namespace {

class RemoteHooks : public DriverTest {};

TEST_F(RemoteHooks, LeaveTheVariableAndTheDriverAlone)
{
    RW_VAR var = named(writeVar("Tag", "05 00", 3, 2), 5, 12);
    Remote_ReadVar(&var);
    Remote_WriteVar(&var);
    Remote_ReadVar(nullptr);
    Remote_WriteVar(nullptr);
    EXPECT_EQ(text("Tag"), var.tagName);
    EXPECT_EQ(hex("05 00"), var.data);
    EXPECT_EQ(3, var.count);
    EXPECT_EQ(2, var.station);
    EXPECT_EQ(5, var.hostArea);
    EXPECT_EQ(12, var.hostAddress);
    EXPECT_TRUE(PLC_driver.requests.isEmpty());
    EXPECT_TRUE(PLCDataStorage.isEmpty());
}

TEST_F(RemoteHooks, InRemoteModeTheCycleSendsNothingForAnyQueue)
{
    comInfo.remoteMode = 1;
    connectStation(0);
    const RW_VAR var = readVar("Tag");
    AddListReadVar(&var);
    expectNothingSent();
    AddListOnceReadVar(&var, 1);
    expectNothingSent();
    AddListWriteVar(&var, 1);
    expectNothingSent();
    EXPECT_EQ(1, PLC_driver.writeQueue.size());
    EXPECT_EQ(1, PLC_driver.onceReadQueue.size());
    EXPECT_EQ(1, PLC_driver.readList.size());
}

} // namespace
