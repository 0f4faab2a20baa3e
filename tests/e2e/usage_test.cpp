#include "simulator.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace e2e {
namespace {

/// Exit code 2 and one line on standard error that names the culprit.
void expectUsageError(const std::vector<std::string>& arguments, const std::string& culprit)
{
    const Outcome outcome = panelhost(arguments);
    EXPECT_EQ(outcome.exitCode, 2) << outcome.out << outcome.err;
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    EXPECT_NE(outcome.err.find(culprit), std::string::npos) << outcome.err;
}

TEST(Usage, BadArgumentsAreAnsweredWithOneLineThatNamesTheCulprit)
{
    expectUsageError({}, "subcommand is required");
    expectUsageError({"frobnicate"}, "frobnicate");
    expectUsageError({"read"}, "target");
    expectUsageError({"read", "127.0.0.1"}, "no tag given");
    expectUsageError({"read", "127.0.0.1:99999", "A"}, "127.0.0.1:99999");
    expectUsageError({"read", "127.0.0.1", "A[3..1]"}, "A[3..1]");
    expectUsageError({"read", "127.0.0.1", "A.B"}, "A.B");
    expectUsageError({"read", "127.0.0.1", "A", "--colour"}, "--colour");
    expectUsageError({"read", "127.0.0.1", "A", "--timeout", "x"}, "--timeout");
    expectUsageError({"read", "127.0.0.1", "A", "--timeout", "-5"}, "--timeout");
    expectUsageError({"read", "127.0.0.1", "A", "--csv", "--json"}, "--json");
    expectUsageError({"read", "nowhere/project.toml"}, "nowhere/project.toml");
    expectUsageError({"write", "127.0.0.1", "A"}, "TAG=VALUE");
    expectUsageError({"write", "127.0.0.1", "=5"}, "'=5'");
    expectUsageError({"watch", "127.0.0.1", "A", "--interval", "0"}, "--interval");
    expectUsageError({"read", "127.0.0.1", "A", "--library", "/nowhere/lib.so"}, "/nowhere/lib.so");
}

TEST(Usage, ALibraryThatIsNoDriverIsNamed)
{
    const TemporaryFile noLibrary(".so", "this is no library");
    expectUsageError({"read", "127.0.0.1", "A", "--library", noLibrary.path()}, "driver library");
}

TEST(Connection, NothingListeningIsExitCodeThree)
{
    const Outcome outcome = panelhost({"read", "127.0.0.1:1", "A"});
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err,
              "panelhost: 127.0.0.1:1: connection refused: nothing listens on that port "
              "of the host; check address and port\n");
}

TEST(Connection, AnUnknownHostIsExitCodeThree)
{
    const Outcome outcome = panelhost({"read", "no-such-host.invalid", "A"});
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_EQ(outcome.err, "panelhost: no-such-host.invalid: host name 'no-such-host.invalid' not "
                           "found; check address and port\n");
}

} // namespace
} // namespace e2e
