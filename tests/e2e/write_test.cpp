#include "all_types.h"
#include "simulator.h"

#include <gtest/gtest.h>

namespace e2e {
namespace {

class Write : public testing::Test {
protected:
    Outcome write(std::vector<std::string> assignments)
    {
        assignments.insert(assignments.begin(), {"write", simulator_.address()});
        return panelhost(assignments);
    }

    TemporaryFile tags_{".toml", allTypesTagFile()};
    Simulator simulator_{tags_.path(), {"--response-time", "0"}};
};

struct Row {
    const char* assignment;
    const char* reference;
    const char* value;
};

TEST_F(Write, OfEveryWritableTypeArrives)
{
    const std::vector<Row> rows = {
        {"One_BOOL=0", "One_BOOL", "0"},
        {"One_SINT=-127", "One_SINT", "-127"},
        {"One_INT=-2", "One_INT", "-2"},
        {"One_DINT=-70000", "One_DINT", "-70000"},
        {"One_LINT=-5000000000", "One_LINT", "-5000000000"},
        {"One_USINT=200", "One_USINT", "200"},
        {"One_UINT=60000", "One_UINT", "60000"},
        {"One_UDINT=4000000000", "One_UDINT", "4000000000"},
        {"One_ULINT=18446744073709551615", "One_ULINT", "18446744073709551615"},
        {"One_REAL=1.5e-7", "One_REAL", "1.5e-07"},
        {"One_LREAL=-1.5e-107", "One_LREAL", "-1.5e-107"},
        {"One_BYTE=16#7F", "One_BYTE", "16#7F"},
        {"One_STRING=Hi", "One_STRING", "\"Hi\""},
    };
    std::vector<std::string> assignments;
    for (const Row& row : rows)
        assignments.push_back(row.assignment);
    const Outcome outcome = write(assignments);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.out << outcome.err;
    for (const Row& row : rows)
        EXPECT_EQ(simulator_.value(row.reference), row.value);
}

TEST_F(Write, OfArrayElementsAndRangesTouchesNothingElse)
{
    const Outcome outcome = write({"Many_INT[3]=7", "Many_DINT[1..3]=1,-2,3", "Many_LREAL[4]=2.5",
                                   "Many_SINT[2..3]=5,6", "Many_BOOL[1]=1", "Many_REAL[0]=1",
                                   "Many_LINT[2]=-9", "Many_STRING[0]=a longer text"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.out << outcome.err;
    EXPECT_EQ(simulator_.value("Many_INT[0..4]"), "-32768 -1 0 7 32767");
    EXPECT_EQ(simulator_.value("Many_DINT[0..4]"), "-2147483648 1 -2 3 2147483647");
    EXPECT_EQ(simulator_.value("Many_LREAL[3..4]"), "5e-324 2.5");
    EXPECT_EQ(simulator_.value("Many_SINT[0..4]"), "-128 -1 5 6 127");
    EXPECT_EQ(simulator_.value("Many_BOOL[0..4]"), "1 1 1 1 0");
    EXPECT_EQ(simulator_.value("Many_REAL[0..1]"), "1 0");
    EXPECT_EQ(simulator_.value("Many_LINT[1..3]"), "-1 -9 4294967296");
    EXPECT_EQ(simulator_.value("Many_STRING[0]"), "\"a longer text\"");
    EXPECT_EQ(simulator_.value("Many_STRING[1]"), "\"\"");
}

TEST_F(Write, AShorterTextReplacesALongerOneWhole)
{
    EXPECT_EQ(write({"One_STRING=HELLO"}).exitCode, 0);
    const Outcome outcome = write({"One_STRING=HI"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.out;
    EXPECT_EQ(simulator_.value("One_STRING"), "\"HI\"");
    EXPECT_EQ(write({"One_STRING="}).exitCode, 0);
    EXPECT_EQ(simulator_.value("One_STRING"), "\"\"");
}

TEST_F(Write, OutOfRangeIsRefusedBeforeAnythingIsWritten)
{
    const Outcome outcome = write({"One_INT=5", "One_SINT=300"});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.err, "panelhost: One_SINT: 300 does not fit SINT (-128..127)\n");
    EXPECT_EQ(simulator_.value("One_INT"), "-32768");
}

TEST_F(Write, OfATypeTheDriverCannotWriteSaysSo)
{
    const Outcome outcome = write({"One_DWORD=1"});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(
        outcome.err,
        "panelhost: One_DWORD: DWORD tags can be read, but the driver has no write for them\n");
}

TEST_F(Write, ToAMissingTagWritesNothingAtAll)
{
    const Outcome outcome = write({"One_INT=5", "Nope=1"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.err,
              "panelhost: nothing was written, as Nope cannot be read: no such tag, or "
              "not a global variable (status 0x05)\n");
    EXPECT_EQ(simulator_.value("One_INT"), "-32768");
}

TEST_F(Write, OfTwoTagsThatAgreeInElementAndCountReachesBoth)
{
    const Outcome outcome = write({"One_UINT=1", "One_INT=2", "One_BOOL=1", "One_USINT=3"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.out;
    EXPECT_EQ(simulator_.value("One_UINT"), "1");
    EXPECT_EQ(simulator_.value("One_INT"), "2");
    EXPECT_EQ(simulator_.value("One_USINT"), "3");
}

TEST(WriteProtection, IsReportedInTheControllersWords)
{
    Simulator simulator(EXAMPLE_MACHINE);
    const Outcome outcome = panelhost({"write", simulator.address(), "SerialNumber=X"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(
        outcome.out.find("SerialNumber = bad: access denied: the controller's program lets nobody "
                         "outside write this tag (status 0x0F)"),
        std::string::npos)
        << outcome.out;
    EXPECT_EQ(simulator.value("SerialNumber"), "\"FS-0042\"");
}

} // namespace
} // namespace e2e
