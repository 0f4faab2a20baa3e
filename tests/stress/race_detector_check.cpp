// Proves the race detector: told "unlocked" two threads share a Qt value without a lock, told
// "inverted" they take two locks in opposite orders, and both must be reported; told "locked" they
// do everything right, and nothing may be.

#include <QByteArray>
#include <QMap>
#include <QMutex>
#include <QMutexLocker>
#include <QString>

#include <cstring>
#include <thread>

namespace {

const int kRounds = 2000;

QMutex first;
QMutex second;
QMap<QString, QByteArray> shared;

void use(int i)
{
    QByteArray& value = shared[QString::number(i % 7)];
    value.append(static_cast<char>(i));
    const QByteArray copy = shared.value(QString::number(i % 5));
    if (copy.size() > 100)
        shared.clear();
}

void useLocked()
{
    for (int i = 0; i < kRounds; ++i) {
        QMutexLocker outer(&first);
        QMutexLocker inner(&second);
        use(i);
    }
}

void useUnlocked()
{
    for (int i = 0; i < kRounds; ++i)
        shared[QString()] = QByteArray("x");
}

void lockInTurn(QMutex& outer, QMutex& inner)
{
    QMutexLocker outerLock(&outer);
    QMutexLocker innerLock(&inner);
}

} // namespace

int main(int argc, char** argv)
{
    const char* what = argc == 2 ? argv[1] : "";
    if (std::strcmp(what, "inverted") == 0) {
        std::thread([] { lockInTurn(first, second); }).join();
        std::thread([] { lockInTurn(second, first); }).join();
        return 0;
    }
    void (*const run)() = std::strcmp(what, "unlocked") == 0 ? useUnlocked : useLocked;
    std::thread one(run);
    std::thread other(run);
    one.join();
    other.join();
    return 0;
}
