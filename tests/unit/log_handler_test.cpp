// The exported message handler. It remembers its first message for as long as it is loaded, so each
// test logs in a child process with a directory of its own.

#include "Func_Check.h"
#include "bytes.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <future>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

class LogHandler : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(directory_.isValid()); }

    /// Runs logging in a child process in the directory and returns its wait status.
    int inChild(const std::function<void()>& logging) const
    {
        const pid_t child = fork();
        if (child == 0) {
            const rlimit noCore = {0, 0};
            setrlimit(RLIMIT_CORE, &noCore);
            if (chdir(directory_.path().toLocal8Bit().constData()) != 0)
                _exit(1);
            std::signal(SIGABRT, SIG_DFL);
            logging();
            _exit(0);
        }
        int status = -1;
        EXPECT_EQ(child, waitpid(child, &status, 0));
        return status;
    }

    void expectLogged(const std::function<void()>& logging) const
    {
        EXPECT_EQ(0, inChild(logging));
    }

    QString logPath() const { return directory_.path() + text("/debug.txt"); }

    QByteArray log() const
    {
        QFile file(logPath());
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        return file.readAll();
    }

    /// The lines of the log, each of which must end in CR LF.
    QList<QByteArray> lines() const
    {
        QByteArray all = log();
        EXPECT_TRUE(all.isEmpty() || all.endsWith("\r\n"));
        QList<QByteArray> result;
        for (int end = all.indexOf("\r\n"); end >= 0; end = all.indexOf("\r\n")) {
            result.append(all.left(end));
            all.remove(0, end + 2);
        }
        return result;
    }

    /// What follows "[ yyyy-MM-dd HH:mm:ss:zzz ]", whose time must be about now.
    static QByteArray afterStamp(const QByteArray& line)
    {
        const int stampLength = 27;
        const QDateTime stamp = QDateTime::fromString(QString::fromLatin1(line.left(stampLength)),
                                                      text("[ yyyy-MM-dd HH:mm:ss:zzz ]"));
        EXPECT_TRUE(stamp.isValid()) << line.constData();
        EXPECT_LT(qAbs(stamp.secsTo(QDateTime::currentDateTime())), 60) << line.constData();
        return line.mid(stampLength);
    }

    QTemporaryDir directory_;
};

TEST_F(LogHandler, TwoDebugMessagesAfterLoadLeaveExactlyTwoLines)
{
    QFile old(logPath());
    ASSERT_TRUE(old.open(QIODevice::WriteOnly));
    old.write("from before the load\r\n");
    old.close();
    expectLogged([] {
        myMsgOutput(QtDebugMsg, "first");
        myMsgOutput(QtDebugMsg, "second message ");
    });
    const QList<QByteArray> logged = lines();
    ASSERT_EQ(2, logged.size());
    EXPECT_EQ(QByteArray(": Debug:\tfirst)"), afterStamp(logged[0]));
    EXPECT_EQ(QByteArray(": Debug:\tsecond message )"), afterStamp(logged[1]));
}

TEST_F(LogHandler, EachLoadStartsAFreshFile)
{
    expectLogged([] { myMsgOutput(QtDebugMsg, "one load"); });
    expectLogged([] { myMsgOutput(QtDebugMsg, "the next"); });
    const QList<QByteArray> logged = lines();
    ASSERT_EQ(1, logged.size());
    EXPECT_EQ(QByteArray(": Debug:\tthe next)"), afterStamp(logged[0]));
}

TEST_F(LogHandler, WarningsAndCriticalMessagesSaySo)
{
    expectLogged([] {
        myMsgOutput(QtWarningMsg, "low");
        myMsgOutput(QtCriticalMsg, "gone");
    });
    const QList<QByteArray> logged = lines();
    ASSERT_EQ(2, logged.size());
    EXPECT_EQ(QByteArray(": Warning:\tlow)"), afterStamp(logged[0]));
    EXPECT_EQ(QByteArray(": Critical:\tgone)"), afterStamp(logged[1]));
}

TEST_F(LogHandler, AFatalMessageAbortsTheProcessAndAddsNothing)
{
    const int status = inChild([] {
        myMsgOutput(QtDebugMsg, "before");
        myMsgOutput(QtFatalMsg, "the end");
    });
    ASSERT_TRUE(WIFSIGNALED(status)) << "status " << status;
    EXPECT_EQ(SIGABRT, WTERMSIG(status));
    const QList<QByteArray> logged = lines();
    ASSERT_EQ(1, logged.size());
    EXPECT_EQ(QByteArray(": Debug:\tbefore)"), afterStamp(logged[0]));
}

TEST_F(LogHandler, AFatalFirstMessageLeavesTheOldFileAlone)
{
    expectLogged([] { myMsgOutput(QtDebugMsg, "old"); });
    const QByteArray before = log();
    EXPECT_TRUE(WIFSIGNALED(inChild([] { myMsgOutput(QtFatalMsg, "the end"); })));
    EXPECT_EQ(before, log());
}

TEST_F(LogHandler, AMessageOfTypeSevenAddsAnEmptyLine)
{
    expectLogged([] {
        myMsgOutput(QtDebugMsg, "one");
        myMsgOutput(static_cast<QtMsgType>(7), "lost");
    });
    const QList<QByteArray> logged = lines();
    ASSERT_EQ(2, logged.size());
    EXPECT_EQ(QByteArray(": Debug:\tone)"), afterStamp(logged[0]));
    EXPECT_EQ(QByteArray(), logged[1]);
}

TEST_F(LogHandler, AnEmptyFirstLineStillStartsAFreshFile)
{
    expectLogged([] { myMsgOutput(QtDebugMsg, "old"); });
    expectLogged([] { myMsgOutput(static_cast<QtMsgType>(7), "lost"); });
    EXPECT_EQ(QByteArray("\r\n"), log());
}

TEST_F(LogHandler, PercentSignsAndPlaceholdersInATextStandAsTheyAre)
{
    expectLogged([] {
        myMsgOutput(QtDebugMsg, "%1 %2 %s 100% %%");
        myMsgOutput(QtDebugMsg, "");
    });
    const QList<QByteArray> logged = lines();
    ASSERT_EQ(2, logged.size());
    EXPECT_EQ(QByteArray(": Debug:\t%1 %2 %s 100% %%)"), afterStamp(logged[0]));
    EXPECT_EQ(QByteArray(": Debug:\t)"), afterStamp(logged[1]));
}

TEST_F(LogHandler, ANullTextCountsAsEmpty)
{
    expectLogged([] { myMsgOutput(QtDebugMsg, nullptr); });
    const QList<QByteArray> logged = lines();
    ASSERT_EQ(1, logged.size());
    EXPECT_EQ(QByteArray(": Debug:\t)"), afterStamp(logged[0]));
}

TEST_F(LogHandler, AFileThatCannotBeOpenedLosesTheLineAndReleasesTheLock)
{
    ASSERT_TRUE(QDir(directory_.path()).mkdir(text("debug.txt")));
    expectLogged([] {
        alarm(20);
        myMsgOutput(QtDebugMsg, "lost");
        myMsgOutput(QtDebugMsg, "lost too");
    });
    EXPECT_TRUE(QDir(logPath()).exists());
}

TEST_F(LogHandler, TheFileLiesInTheDirectoryThatIsCurrentAtEachMessage)
{
    ASSERT_TRUE(QDir(directory_.path()).mkdir(text("later")));
    expectLogged([] {
        myMsgOutput(QtDebugMsg, "first");
        if (chdir("later") != 0)
            _exit(1);
        myMsgOutput(QtDebugMsg, "second");
    });
    EXPECT_EQ(1, lines().size());
    EXPECT_TRUE(QFile::exists(directory_.path() + text("/later/debug.txt")));
}

TEST_F(LogHandler, LinesOfSeveralThreadsNeverInterleave)
{
    const int threads = 4, messages = 50;
    const QByteArray body(400, 'x');
    expectLogged([&] {
        alarm(50);
        std::vector<std::thread> running;
        for (int i = 0; i < threads; ++i)
            running.emplace_back([&] {
                for (int j = 0; j < messages; ++j)
                    myMsgOutput(QtDebugMsg, body.constData());
            });
        for (std::thread& thread : running)
            thread.join();
    });
    const QList<QByteArray> logged = lines();
    ASSERT_EQ(threads * messages, logged.size());
    for (const QByteArray& line : logged)
        ASSERT_EQ(": Debug:\t" + body + ")", afterStamp(line));
}

TEST_F(LogHandler, AMessageWaitsUntilTheOneBeforeItIsWritten)
{
    // Opening a pipe for writing blocks until somebody reads: it holds the first message up.
    ASSERT_EQ(0, mkfifo(logPath().toLocal8Bit().constData(), 0600));
    expectLogged([] {
        alarm(50);
        micro850::installMessageHandler([](QtMsgType, const char*) {}); // Qt would warn of the pipe
        const auto logOne = [] { myMsgOutput(QtDebugMsg, "text"); };
        std::future<void> messages[] = {std::async(std::launch::async, logOne),
                                        std::async(std::launch::async, logOne)};
        bool bothWait = true;
        for (std::future<void>& message : messages)
            bothWait = bothWait && message.wait_for(std::chrono::milliseconds(50)) ==
                                       std::future_status::timeout;
        const int reader = open("debug.txt", O_RDONLY | O_NONBLOCK);
        for (std::future<void>& message : messages)
            message.get();
        close(reader);
        if (!bothWait)
            _exit(1);
    });
}

TEST_F(LogHandler, InstalledByTheAdapterItReceivesTheMessagesOfQt)
{
    expectLogged([] {
        micro850::installMessageHandler(myMsgOutput);
        qDebug("through Qt");
        qWarning("%d", 42);
        micro850::installMessageHandler(nullptr);
    });
    const QList<QByteArray> logged = lines();
    ASSERT_EQ(2, logged.size());
    EXPECT_EQ(QByteArray(": Debug:\tthrough Qt)"), afterStamp(logged[0]));
    EXPECT_EQ(QByteArray(": Warning:\t42)"), afterStamp(logged[1]));
}

} // namespace
