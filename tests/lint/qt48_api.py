#!/usr/bin/env python3
"""Fails when driver sources use what only one of Qt 4.8 and Qt 5.15 has.

    qt48_api.py FILE...     checks sources and headers of the driver
    qt48_api.py --selftest  checks that every rule below finds its own example

Qt 4.8 is not to be had from the distribution, so no compiler tells. Version branches are allowed in
the two files named below; inside a branch for one generation, that generation's own API is allowed.
Overloads that text cannot tell apart are looked for in the library, see qt48_overloads.cmake.
"""

import re
import sys

# Where the generations may be told apart.
BRANCHING_FILES = ("src/qt_compat.h", "include/micro850/host_interface.h")

# Name or pattern, and an example that it must find.
LACKING_IN_QT4 = [
    (r"\bQStringLiteral\b", 'x = QStringLiteral("a");'),
    (r"\bQByteArrayLiteral\b", 'x = QByteArrayLiteral("a");'),
    (r"\bQLatin1Literal\b|\bQStringView\b|\bQStringBuilder\b", "void f(QStringView text);"),
    (r"\bqAsConst\b", "for (int x : qAsConst(list))"),
    (r"\bqOverload\b|\bqScopeGuard\b|\bqEnvironmentVariable\b", "auto guard = qScopeGuard(f);"),
    (r"\bQ_DECL_OVERRIDE\b|\bQ_DECL_FINAL\b", "void f() Q_DECL_OVERRIDE;"),
    (r"\bQ_DECL_NOEXCEPT\b|\bQ_NORETURN\b", "void f() Q_DECL_NOEXCEPT;"),
    (r"\bQ_NULLPTR\b", "int* p = Q_NULLPTR;"),
    (r"\bQ_STATIC_ASSERT(_X)?\b", "Q_STATIC_ASSERT(true);"),
    (r"\bQ_FALLTHROUGH\b", "Q_FALLTHROUGH();"),
    (r"\bQ_DISABLE_COPY_MOVE\b|\bQ_ENUM\b|\bQ_GADGET_EXPORT\b", "Q_DISABLE_COPY_MOVE(Type)"),
    (r"\bqInfo\b|\bqC(Debug|Info|Warning|Critical)\b", 'qInfo("x");'),
    (r"\bQLoggingCategory\b|\bQ_LOGGING_CATEGORY\b", "QLoggingCategory category;"),
    (r"\bQtInfoMsg\b", "case QtInfoMsg:"),
    (r"\bqInstallMessageHandler\b|\bQtMessageHandler\b", "qInstallMessageHandler(handler);"),
    (r"\bQMessageLog(Context|ger)\b", "void f(QMessageLogContext context);"),
    (r"\bnoquote\b", "qDebug().noquote() << x;"),
    (r"\bQt::(SkipEmptyParts|KeepEmptyParts)\b", "text.split(blank, Qt::SkipEmptyParts)"),
    (r"\bQt::(hex|dec|oct|bin|endl|flush|ws|left|right)\b", "stream << Qt::hex << 7 << Qt::endl;"),
    (r"\btoHex\s*\(\s*[^)\s]", "bytes.toHex(' ')"),
    (r"\bc(begin|end)\s*\(\s*\)", "list.cbegin()"),
    (r"\bc?r(begin|end)\s*\(\s*\)", "list.rbegin()"),
    (r"\b(constFirst|constLast)\b", "list.constFirst()"),
    (r"\bappend\s*\(\s*[^(),]+,\s*('|char\b|static_cast<char>|QLatin1Char|QChar)",
     "bytes.append(3, '\\0');"),
    (r"\bchopped\b", "text.chopped(1)"),
    (r"\basprintf\b", 'QString::asprintf("%d", 1)'),
    (r"\bQMap\s*<[^;(){}]*>\s*\w*\s*(=\s*)?\{\s*\S", "QMap<int, int> map{{1, 2}};"),
    (r"\bkeyValue(Begin|End)\b|\bQKeyValueIterator\b", "map.keyValueBegin()"),
    (r"\bQRandomGenerator\b", "QRandomGenerator::global()"),
    (r"\bQRecursiveMutex\b|\bQDeadlineTimer\b", "QRecursiveMutex mutex;"),
    (r"\bQAtomic\w+\b.*\bload\s*\(|\b(load|store)(Relaxed|Acquire|Release)\s*\(",
     "QAtomicInt(1).load()"),
    (r"\bqFromLittleEndian\s*(<\w+>)?\s*\((?![^;]*\buchar\b)", "qFromLittleEndian<quint16>(at)"),
    (r"\bqToLittleEndian\s*(<\w+>)?\s*\([^;,()]+,(?![^;]*\buchar\b)", "qToLittleEndian(x, at)"),
    (r"\bconnect\s*\([^;]*(&\s*\w+::\w+|\[[^\]]*\]\s*[({])", "connect(a, &A::done, b, &B::go);"),
    (r"\bQJson\w+", "QJsonObject object;"),
    (r"\bQCommandLine\w+", "QCommandLineParser parser;"),
    (r"\bQ(SaveFile|StandardPaths|TimeZone|LockFile|StorageInfo|Regular\w+)\b", "QSaveFile file;"),
    (r"\b(currentSecsSinceEpoch|toSecsSinceEpoch|fromSecsSinceEpoch)\b",
     "QDateTime::currentSecsSinceEpoch()"),
]
LACKING_IN_QT5 = [
    (r"\bto(Ascii)\b|\bfromAscii\b", "text.toAscii()"),
    (r"\bqInstallMsgHandler\b|\bQtMsgHandler\b", "qInstallMsgHandler(handler);"),
]

BRANCH = re.compile(r"#\s*if\s+QT_VERSION\s*(>=|<)\s*QT_VERSION_CHECK\s*\(\s*5\s*,\s*0\s*,\s*0\s*\)")
LITERAL_OR_COMMENT = re.compile(
    r"""//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|'(?:\\.|[^'\\\n])*'""", re.S)


def code_only(text):
    """The text with comments blanked and literals emptied; lines stay where they are."""

    def blank(match):
        found = match.group()
        if found[0] == "/":
            return re.sub(r"[^\n]", " ", found)
        return found[0] * 2

    return LITERAL_OR_COMMENT.sub(blank, text)


def opens_branch(line):
    """For a conditional on Qt's version: the generation that its first half is for."""
    match = BRANCH.match(line)
    return None if match is None else 5 if match.group(1) == ">=" else 4


def findings(name, text):
    """(line, what) of each use that does not fit its branch."""
    may_branch = name.endswith(BRANCHING_FILES)
    generations = [None]  # of the enclosing conditionals: 4, 5, or None for both
    found = []
    lines = code_only(text).split("\n")
    for number, line in enumerate(lines, 1):
        stripped = line.strip()
        if re.match(r"#\s*(if|elif)", stripped) and "QT_VERSION" in stripped:
            if not may_branch:
                found.append((number, "version branches belong in " + " or ".join(BRANCHING_FILES)))
            elif opens_branch(stripped) is None:
                found.append((number, "branch on Qt 5.0.0, by >= or <, and on nothing else"))
        if re.match(r"#\s*if", stripped):
            generations.append(opens_branch(stripped) if may_branch else None)
        elif re.match(r"#\s*(else|elif)\b", stripped) and generations[-1] is not None:
            generations[-1] = 9 - generations[-1]
        elif re.match(r"#\s*endif\b", stripped):
            generations.pop()
        branch = next((g for g in reversed(generations) if g is not None), None)
        # A statement may go on in the next lines.
        statement = line + " " + " ".join(lines[number : number + 2])
        for absent_in, rules in ((4, LACKING_IN_QT4), (5, LACKING_IN_QT5)):
            if branch is not None and branch != absent_in:
                continue
            for pattern, _ in rules:
                match = re.search(pattern, statement)
                if match is not None and match.start() < len(line):
                    release = "4.8" if absent_in == 4 else "5.15"
                    found.append((number, f"Qt {release} lacks this: {match.group().strip()}"))
    return found


def selftest():
    failures = []

    def expect(condition, what):
        if not condition:
            failures.append(what)

    for pattern, example in LACKING_IN_QT4 + LACKING_IN_QT5:
        expect(findings("src/x.cpp", example), f"{pattern} misses {example}")
        expect(not findings("src/x.cpp", "// " + example), f"{pattern} looks into comments")
    both = ("bytes.toHex() + bytes.append(text, length); list.constBegin(); QList<int> l{1};"
            'bytes.append(1); f("qInfo"); qFromLittleEndian<quint16>((const uchar*)at); load();')
    expect(not findings("src/x.cpp", both), f"finds fault with {findings('src/x.cpp', both)}")
    branch = ("#if QT_VERSION >= QT_VERSION_CHECK(5, 0, 0)\nqInfo();\n#else\n%s;\n#endif\n%s\n")
    right = branch % ("qInstallMsgHandler(h)", "")
    expect(not findings("src/qt_compat.h", right), "finds fault with a right branch")
    expect(findings("src/x.h", right), "lets any file branch")
    expect(findings("src/qt_compat.h", branch % ("qInfo()", "")), "lets Qt 4 have qInfo()")
    expect(findings("src/qt_compat.h", branch % ("", "qInfo();")), "does not see the branch's end")
    for what in failures:
        print(what)
    return 1 if failures else 0


def check(paths):
    bad = 0
    for path in paths:
        with open(path, encoding="utf-8") as file:
            for line, what in findings(path, file.read()):
                print(f"{path}:{line}: {what}")
                bad += 1
    if not paths:
        print("no files given")
    return 1 if bad or not paths else 0


if __name__ == "__main__":
    sys.exit(selftest() if sys.argv[1:] == ["--selftest"] else check(sys.argv[1:]))
