// A host that was built without the library's header: it finds the entry points by name, and every
// field of the shared records by its byte offset. A whole session, frames written out by hand.

#include "foreign_host_layout.h"

#include <QList>
#include <QStringList>

#include <dlfcn.h>
#include <memory>
#include <vector>

namespace {

// --- Records of the host's own ---

using Settings = RawRecord<settings::kSize>;

class Variable : public RawRecord<variable::kSize> {
public:
    Variable()
    {
        createHandle<QString>(variable::kTagName);
        createHandle<QString>(variable::kIndexText);
        createHandle<QByteArray>(variable::kData);
    }
    ~Variable()
    {
        destroyHandle<QByteArray>(variable::kData);
        destroyHandle<QString>(variable::kIndexText);
        destroyHandle<QString>(variable::kTagName);
    }
};

class Address : public RawRecord<address::kSize> {
public:
    Address(const char* tagName, const char* indexText, qint32 count, quint8 dataKind)
    {
        putByte(address::kDataKind, dataKind);
        createHandle<QString>(address::kIndexText) = QString::fromLatin1(indexText);
        createHandle<QString>(address::kTagName) = QString::fromLatin1(tagName);
        putWord(address::kCount, count);
    }
    ~Address()
    {
        destroyHandle<QString>(address::kTagName);
        destroyHandle<QString>(address::kIndexText);
    }
};

class KnownTag : public RawRecord<tag::kSize> {
public:
    KnownTag(const char* name, qint32 kind)
    {
        createHandle<QString>(tag::kName) = QString::fromLatin1(name);
        putWord(tag::kKind, kind);
        putWord(tag::kHostWord, 0x5151);
        createHandle<QStringList>(tag::kElements).append(QString::fromLatin1("first"));
    }
    ~KnownTag()
    {
        destroyHandle<QStringList>(tag::kElements);
        destroyHandle<QString>(tag::kName);
    }
};

// --- What callbacks told ---

std::vector<std::vector<int>> doneCalls;
std::vector<std::vector<int>> failCalls;

void noteDone(int hostHandle, int hostArea, int hostAddress, int status)
{
    doneCalls.push_back({hostHandle, hostArea, hostAddress, status});
}

void noteFailure(void* list, int hostArea, int one)
{
    const auto* entries = static_cast<const QList<void*>*>(list);
    failCalls.push_back({entries->size(), hostArea, one});
}

// --- Frames ---

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text);
}

std::string spaced(const QByteArray& bytes)
{
    return bytes.toHex(' ').toStdString();
}

constexpr qint32 kStation = 3;
constexpr qint32 kLocalDevice = 0x0D0D;

const char* const kRegisterSession =
    "65 00 04 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01 00 00 00";
const char* const kSessionRegistered =
    "65 00 04 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01 00 00 00";
const char* const kConnectionOpened =
    "6f 00 2e 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
    "00 00 00 00 00 00 02 00 00 00 00 00 b2 00 1e 00 d4 00 00 00 aa bb cc dd "
    "00 01 fe 80 02 00 50 f8 00 00 00 00 80 84 1e 00 80 84 1e 00 00 00";

// Reads of the tag "Levels": a probe of its first element; elements 2 and 3.
const char* const kProbe =
    "70 00 26 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
    "00 00 00 00 01 00 02 00 a1 00 04 00 aa bb cc dd b1 00 12 00 01 00 4c 04 "
    "91 06 4c 65 76 65 6c 73 01 00 00 00 00 00";
const char* const kReadTwoFromTwo =
    "70 00 28 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
    "00 00 00 00 01 00 02 00 a1 00 04 00 aa bb cc dd b1 00 14 00 02 00 4c 05 "
    "91 06 4c 65 76 65 6c 73 28 02 02 00 00 00 00 00";

// Answers: one INT, two INTs, a write done. The library looks at their length and their values.
const char* const kOneInt =
    "70 00 1e 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
    "00 00 00 00 00 00 02 00 a1 00 04 00 00 01 fe 80 b1 00 0a 00 01 00 cc 00 00 00 c3 00 99 00";
const char* const kTwoInts =
    "70 00 20 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
    "00 00 00 00 00 00 02 00 a1 00 04 00 00 01 fe 80 b1 00 0c 00 02 00 cc 00 00 00 "
    "c3 00 34 12 78 56";
const char* const kWritten =
    "70 00 1a 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
    "00 00 00 00 00 00 02 00 a1 00 04 00 00 01 fe 80 b1 00 06 00 02 00 d3 00 00 00";

// --- The library, found by name ---

class ForeignHost : public ::testing::Test {
protected:
    void SetUp() override
    {
        doneCalls.clear();
        failCalls.clear();
        library = dlopen(MICRO850_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library, nullptr) << dlerror();
        find(setComInfo, "SetComInfo");
        find(registerCallbacks, "RegistCallBackFuncIntf");
        find(passVarName, "PassVarName");
        find(addListReadVar, "AddListReadVar");
        find(addListWriteVar, "AddListWriteVar");
        find(addListOnceReadVar, "AddListOnceReadVar");
        find(rebuildReadList, "ReCreatReadVarList");
        find(comCommunication, "ComCommunication");
        find(dataCom, "DataCom");
        find(getRegisterData, "GetRegisterData");
        find(setRegisterData, "SetRegisterData");
        ASSERT_FALSE(HasFailure());

        hostSettings.putWord(settings::kDefaultStation, kStation);
        hostSettings.putWord(settings::kLocalDeviceNo, kLocalDevice);
        hostSettings.putWord(settings::kRetryLimit, 1);
        hostSettings.putWord(settings::kHostHandle, 0x4848);
        setComInfo(hostSettings.get());
        registerCallbacks(noteDone, noteFailure);
        makeTagsArrays();
    }

    void TearDown() override
    {
        if (library != nullptr)
            dlclose(library);
    }

    template <typename Function>
    void find(Function& function, const char* name)
    {
        function = reinterpret_cast<Function>(dlsym(library, name));
        EXPECT_NE(function, nullptr) << name;
    }

    qint32 setting(std::size_t offset) { return wordAt(hostSettings.get(), offset); }

    /// The list as the library's container library keeps it: a pointer to each record. The library
    /// shares it, so it is kept until the library has another one, or is gone.
    void passTags(const std::vector<KnownTag*>& tags)
    {
        QList<void*> list;
        for (KnownTag* known : tags)
            list.append(known->get());
        passVarName(&list);
        tagList.swap(list);
    }

    void makeTagsArrays() { passTags({&everyTagIsAnArray}); }

    // --- The cycle ---

    const void* expectSent(const char* frame)
    {
        const void* sent = comCommunication();
        EXPECT_NE(sent, nullptr);
        if (sent != nullptr) {
            const QByteArray& bytes = bytesAt(sent, request::kFrame);
            EXPECT_EQ(spaced(bytes), spaced(hex(frame)));
            EXPECT_EQ(wordAt(sent, request::kFrameLength), bytes.size());
        }
        return sent;
    }

    qint32 answer(const char* frame)
    {
        QByteArray bytes = hex(frame);
        lastVariable = dataCom(&bytes, bytes.size());
        return wordAt(lastVariable, variable::kResult);
    }

    /// The answer to a read or write is handed in twice; the first time its length is learned.
    qint32 answerData(const char* frame)
    {
        EXPECT_EQ(answer(frame), 1);
        return answer(frame);
    }

    qint32 answerNothing()
    {
        QByteArray nothing;
        lastVariable = dataCom(&nothing, 0);
        return wordAt(lastVariable, variable::kResult);
    }

    /// Opens the session of the station whose variable comes first.
    void connectStation()
    {
        expectSent(kRegisterSession);
        EXPECT_EQ(answer(kSessionRegistered), 1);
        ASSERT_NE(comCommunication(), nullptr);
        EXPECT_EQ(answer(kConnectionOpened), 1);
    }

    void connectAndProbe()
    {
        connectStation();
        expectSent(kProbe);
        EXPECT_EQ(answerData(kOneInt), 1);
    }

    /// Elements 2 and 3 of "Levels", every field with a value of its own.
    static void fill(Variable& var)
    {
        var.putWord(variable::kHostArea, 5);
        var.putWord(variable::kHostAddress, 0x0102);
        var.putWord(variable::kHostWord3, 0x0304);
        var.putWord(variable::kDeviceNo, kLocalDevice);
        var.putWord(variable::kResult, 0x0506);
        var.handle<QString>(variable::kTagName) = QString::fromLatin1("Levels");
        var.handle<QString>(variable::kIndexText) = QString::fromLatin1("two");
        var.putWord(variable::kDataKind, 0x0708);
        var.putWord(variable::kStartIndex, 2);
        var.putWord(variable::kStation, kStation);
        var.putWord(variable::kCount, 2);
        var.putWord(variable::kIsArrayTag, 1);
        var.handle<QByteArray>(variable::kData) = hex("0a 0b 0c");
    }

    /// All of a variable as fill() made it, besides its result and its value.
    static void expectFilled(const void* var)
    {
        EXPECT_EQ(wordAt(var, variable::kHostArea), 5);
        EXPECT_EQ(wordAt(var, variable::kHostAddress), 0x0102);
        EXPECT_EQ(wordAt(var, variable::kAccessKind), 0);
        EXPECT_EQ(wordAt(var, variable::kHostWord3), 0x0304);
        EXPECT_EQ(wordAt(var, variable::kDeviceNo), kLocalDevice);
        EXPECT_EQ(textAt(var, variable::kTagName).toStdString(), "Levels");
        EXPECT_EQ(textAt(var, variable::kIndexText).toStdString(), "two");
        EXPECT_EQ(wordAt(var, variable::kDataKind), 0x0708);
        EXPECT_EQ(wordAt(var, variable::kStartIndex), 2);
        EXPECT_EQ(wordAt(var, variable::kStation), kStation);
        EXPECT_EQ(wordAt(var, variable::kCount), 2);
        EXPECT_EQ(wordAt(var, variable::kIsArrayTag), 1);
        EXPECT_EQ(wordAt(var, variable::kOnceFlag), 0);
    }

    static const void* variableOf(const void* sent)
    {
        return static_cast<const char*>(sent) + request::kVariable;
    }

    void* library = nullptr;
    void (*setComInfo)(void*) = nullptr;
    void (*registerCallbacks)(void (*)(int, int, int, int), void (*)(void*, int, int)) = nullptr;
    void (*passVarName)(const void*) = nullptr;
    int (*addListReadVar)(const void*) = nullptr;
    int (*addListWriteVar)(const void*, int) = nullptr;
    int (*addListOnceReadVar)(const void*, int) = nullptr;
    int (*rebuildReadList)(const void*) = nullptr;
    void* (*comCommunication)() = nullptr;
    void* (*dataCom)(QByteArray*, int) = nullptr;
    int (*getRegisterData)(const QString&, int, const QString&, int, QByteArray*,
                           unsigned int) = nullptr;
    int (*setRegisterData)(const QString&, int, const QString&, int, const QByteArray&, int, int,
                           int) = nullptr;

    Settings hostSettings;
    KnownTag everyTagIsAnArray{"-", 2};
    QList<void*> tagList;
    const void* lastVariable = nullptr;
};

} // namespace

TEST_F(ForeignHost, FindsOnlyTheTwoLinkWordsOfItsSettingsCleared)
{
    Settings words;
    for (std::size_t offset = 0; offset < settings::kSize; offset += 4)
        words.putWord(offset, 0x01010101 * static_cast<qint32>(1 + offset / 4));
    setComInfo(words.get());
    for (std::size_t offset = 0; offset < settings::kSize; offset += 4) {
        const bool cleared = offset == settings::kLinkWord0 || offset == settings::kLinkWord1;
        const qint32 untouched = 0x01010101 * static_cast<qint32>(1 + offset / 4);
        EXPECT_EQ(wordAt(words.get(), offset), cleared ? 0 : untouched) << "offset " << offset;
    }
    setComInfo(hostSettings.get());
}

TEST_F(ForeignHost, FindsTheHandshakeInItsRequestRecords)
{
    Variable var;
    fill(var);
    EXPECT_EQ(addListReadVar(var.get()), 1);

    const void* sent = expectSent(kRegisterSession);
    EXPECT_EQ(wordAt(sent, request::kReplyLength), 28);
    EXPECT_EQ(wordAt(sent, request::kFixedReplyLength), 0);
    EXPECT_EQ(wordAt(sent, request::kRequestFlags), 0);
    EXPECT_EQ(wordAt(variableOf(sent), variable::kStation), kStation);
    EXPECT_EQ(setting(settings::kFramesExpected), 2);
    EXPECT_EQ(setting(settings::kFramesAnswered), 0);
    EXPECT_EQ(answer(kSessionRegistered), 1);

    sent = comCommunication();
    ASSERT_NE(sent, nullptr);
    const QByteArray& frame = bytesAt(sent, request::kFrame);
    EXPECT_EQ(spaced(frame.left(8)), "6f 00 3e 00 11 22 33 44");
    EXPECT_EQ(frame.size(), 86);
    EXPECT_EQ(wordAt(sent, request::kFrameLength), 86);
    EXPECT_EQ(wordAt(sent, request::kReplyLength), 70);
    EXPECT_EQ(wordAt(variableOf(sent), variable::kStation), kStation);
    EXPECT_EQ(setting(settings::kFramesAnswered), 1);
    EXPECT_EQ(answer(kConnectionOpened), 1);
    EXPECT_EQ(setting(settings::kFramesAnswered), 2);
}

TEST_F(ForeignHost, FindsItsVariableInARequestAndInTheResult)
{
    Variable var;
    fill(var);
    addListReadVar(var.get());
    connectStation();

    const void* sent = expectSent(kProbe);
    EXPECT_EQ(wordAt(sent, request::kReplyLength), -1);
    EXPECT_EQ(wordAt(sent, request::kFixedReplyLength), 52);
    EXPECT_EQ(wordAt(sent, request::kRequestFlags), 0);
    EXPECT_EQ(wordAt(sent, request::kReserved0), 0);
    EXPECT_EQ(wordAt(sent, request::kReserved1), 0);
    EXPECT_EQ(wordAt(sent, request::kReserved2), 0);
    expectFilled(variableOf(sent));
    EXPECT_EQ(wordAt(variableOf(sent), variable::kResult), 0x0506);
    EXPECT_EQ(spaced(bytesAt(variableOf(sent), variable::kData)), "0a 0b 0c");
    EXPECT_EQ(setting(settings::kFramesExpected), 1);

    EXPECT_EQ(answer(kOneInt), 1);
    EXPECT_EQ(wordAt(sent, request::kReplyLength), 54);
    EXPECT_EQ(answer(kOneInt), 1);
    expectFilled(lastVariable);
    EXPECT_TRUE(bytesAt(lastVariable, variable::kData).isEmpty());
}

TEST_F(ForeignHost, ReadsTheValuesThatAControllerSent)
{
    Variable var;
    fill(var);
    addListReadVar(var.get());
    connectAndProbe();
    expectSent(kReadTwoFromTwo);
    EXPECT_EQ(answerData(kTwoInts), 1);

    QByteArray value;
    EXPECT_EQ(getRegisterData(QString::fromLatin1("Levels"), 0, QString::fromLatin1("2"), kStation,
                              &value, 2),
              1);
    EXPECT_EQ(spaced(value), "34 12 78 56");
}

TEST_F(ForeignHost, FindsAWriteAsTheLibraryFilledItIn)
{
    Variable var;
    fill(var);
    addListReadVar(var.get());
    connectAndProbe();

    hostSettings.putWord(settings::kMultiStation, 1);
    hostSettings.putWord(settings::kDefaultStation, 77);
    hostSettings.putWord(settings::kRemoteMode, 0x0909);
    hostSettings.putWord(settings::kWriteMode, 2);
    EXPECT_EQ(setRegisterData(QString::fromLatin1("Levels"), 21, QString::fromLatin1("4"), kStation,
                              hex("05 00"), 1, 6, 600),
              1);
    hostSettings.putWord(settings::kRemoteMode, 0);

    const void* sent =
        expectSent("70 00 2c 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                   "00 00 00 00 01 00 02 00 a1 00 04 00 aa bb cc dd b1 00 18 00 02 00 53 05 "
                   "91 06 4c 65 76 65 6c 73 28 04 c3 00 01 00 00 00 00 00 05 00");
    ASSERT_NE(sent, nullptr);
    EXPECT_EQ(wordAt(sent, request::kFixedReplyLength), 0);
    const void* written = variableOf(sent);
    EXPECT_EQ(wordAt(written, variable::kHostArea), 6);
    EXPECT_EQ(wordAt(written, variable::kHostAddress), 600);
    EXPECT_EQ(wordAt(written, variable::kAccessKind), 1);
    EXPECT_EQ(wordAt(written, variable::kHostWord3), 0x0909);
    EXPECT_EQ(wordAt(written, variable::kDeviceNo), kLocalDevice);
    EXPECT_EQ(textAt(written, variable::kTagName).toStdString(), "Levels");
    EXPECT_EQ(textAt(written, variable::kIndexText).toStdString(), "4");
    EXPECT_EQ(wordAt(written, variable::kDataKind), 21);
    EXPECT_EQ(wordAt(written, variable::kStartIndex), 4);
    EXPECT_EQ(wordAt(written, variable::kStation), kStation);
    EXPECT_EQ(wordAt(written, variable::kCount), 1);
    EXPECT_EQ(wordAt(written, variable::kIsArrayTag), 1);
    EXPECT_EQ(wordAt(written, variable::kOnceFlag), 2);
    EXPECT_EQ(spaced(bytesAt(written, variable::kData)), "05 00");

    EXPECT_EQ(answerData(kWritten), 1);
    EXPECT_EQ(doneCalls, (std::vector<std::vector<int>>{{0x4848, 6, 600, 1}}));
}

TEST_F(ForeignHost, WritesTheValueInItsOwnVariable)
{
    Variable var;
    fill(var);
    addListReadVar(var.get());
    connectAndProbe();

    var.putWord(variable::kAccessKind, 1);
    EXPECT_EQ(addListWriteVar(var.get(), 0), 1);
    expectSent("70 00 2e 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
               "00 00 00 00 01 00 02 00 a1 00 04 00 aa bb cc dd b1 00 1a 00 02 00 53 05 "
               "91 06 4c 65 76 65 6c 73 28 02 c3 00 02 00 00 00 00 00 0a 0b 0c 00");
    EXPECT_EQ(answerData(kWritten), 1);
    EXPECT_EQ(doneCalls, (std::vector<std::vector<int>>{{0x4848, 5, 0x0102, 1}}));
}

TEST_F(ForeignHost, FindsAOnceReadResolvedFromItsIndexText)
{
    Variable var;
    fill(var);
    addListReadVar(var.get());
    connectAndProbe();

    var.handle<QString>(variable::kIndexText) = QString::fromLatin1("300");
    var.putWord(variable::kStation, 9);
    EXPECT_EQ(addListOnceReadVar(var.get(), 0), 1);
    const void* sent =
        expectSent("70 00 2a 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                   "00 00 00 00 01 00 02 00 a1 00 04 00 aa bb cc dd b1 00 16 00 02 00 4c 06 "
                   "91 06 4c 65 76 65 6c 73 29 00 2c 01 02 00 00 00 00 00");
    ASSERT_NE(sent, nullptr);
    EXPECT_EQ(wordAt(variableOf(sent), variable::kStartIndex), 300);
    EXPECT_EQ(wordAt(variableOf(sent), variable::kStation), kStation);
    EXPECT_EQ(wordAt(variableOf(sent), variable::kIsArrayTag), 1);
    EXPECT_EQ(wordAt(variableOf(sent), variable::kOnceFlag), 1);
    EXPECT_EQ(answerData(kTwoInts), 1);
    EXPECT_EQ(doneCalls, (std::vector<std::vector<int>>{{0x4848, 5, 0x0102, 1}}));
}

TEST_F(ForeignHost, HasItsAddressRecordsTurnedIntoReads)
{
    Variable var;
    fill(var);
    addListReadVar(var.get());
    connectAndProbe();

    Address later("Levels", "20", 3, 9);
    Address first("Levels", "0", 4, 9);
    const QList<void*> addresses{later.get(), first.get()};
    hostSettings.putWord(settings::kScanDone, 1);
    EXPECT_EQ(rebuildReadList(&addresses), 2);
    EXPECT_EQ(setting(settings::kScanDone), 0);

    const void* sent =
        expectSent("70 00 26 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                   "00 00 00 00 01 00 02 00 a1 00 04 00 aa bb cc dd b1 00 12 00 02 00 4c 04 "
                   "91 06 4c 65 76 65 6c 73 04 00 00 00 00 00");
    ASSERT_NE(sent, nullptr);
    EXPECT_EQ(wordAt(variableOf(sent), variable::kDataKind), 9);
    EXPECT_EQ(wordAt(variableOf(sent), variable::kHostAddress), -1);
    EXPECT_EQ(wordAt(variableOf(sent), variable::kDeviceNo), kLocalDevice);
    EXPECT_EQ(answerData(kTwoInts), 1);

    sent = expectSent("70 00 28 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                      "00 00 00 00 01 00 02 00 a1 00 04 00 aa bb cc dd b1 00 14 00 03 00 4c 05 "
                      "91 06 4c 65 76 65 6c 73 28 14 03 00 00 00 00 00");
    ASSERT_NE(sent, nullptr);
    EXPECT_EQ(textAt(variableOf(sent), variable::kIndexText).toStdString(), "20");
    EXPECT_EQ(answerData(kTwoInts), 1);
    EXPECT_EQ(setting(settings::kScanDone), 0);

    ASSERT_NE(comCommunication(), nullptr);
    EXPECT_EQ(answerData(kTwoInts), 1);
    EXPECT_EQ(setting(settings::kScanDone), 1);
}

TEST_F(ForeignHost, HasItsTagKindsLookedUpByName)
{
    KnownTag levels("Levels", 1);
    KnownTag other("Other", 2);
    passTags({&levels, &other});

    // What decides is the first entry of another name: of kind 2 for Levels, of kind 1 for Other.
    Address array("Levels", "7", 4, 0);
    Address single("Other", "7", 4, 0);
    const QList<void*> addresses{array.get(), single.get()};
    EXPECT_EQ(rebuildReadList(&addresses), 2);
    connectStation();

    const void* sent = comCommunication();
    ASSERT_NE(sent, nullptr);
    EXPECT_EQ(wordAt(variableOf(sent), variable::kIsArrayTag), 1);
    EXPECT_EQ(wordAt(variableOf(sent), variable::kStartIndex), 7);
    EXPECT_EQ(answerData(kOneInt), 1);
    sent = comCommunication();
    ASSERT_NE(sent, nullptr);
    EXPECT_EQ(wordAt(variableOf(sent), variable::kIsArrayTag), 0);
    EXPECT_EQ(wordAt(variableOf(sent), variable::kStartIndex), 0);
    EXPECT_EQ(wordAt(variableOf(sent), variable::kCount), 1);
}

TEST_F(ForeignHost, SeesFailuresCountedAndReportedWithItsArea)
{
    Variable var;
    fill(var);
    addListReadVar(var.get());
    connectAndProbe();

    expectSent(kReadTwoFromTwo);
    EXPECT_EQ(answer(kTwoInts), 1);
    EXPECT_EQ(answerNothing(), 0);
    EXPECT_EQ(setting(settings::kFailCount), 1);
    EXPECT_TRUE(failCalls.empty());
    EXPECT_EQ(answerNothing(), 46);
    EXPECT_EQ(setting(settings::kFailCount), 0);
    EXPECT_EQ(failCalls, (std::vector<std::vector<int>>{{0, 5, 1}}));
    expectSent(kRegisterSession);
}

TEST_F(ForeignHost, IsToldOfAnAccessKindThatThereIsNot)
{
    Variable var;
    fill(var);
    var.putWord(variable::kAccessKind, 7);
    hostSettings.putWord(settings::kRetryLimit, 0);
    addListReadVar(var.get());
    connectStation();
    expectSent(kProbe);
    EXPECT_EQ(answerData(kOneInt), 16);
}

TEST_F(ForeignHost, HasVariablesOfAnotherDeviceToldApart)
{
    Variable var;
    fill(var);
    var.putWord(variable::kDeviceNo, kLocalDevice + 1);
    addListReadVar(var.get());
    connectStation();
    expectSent(kProbe);
    EXPECT_EQ(answerData(kOneInt), 100);
}

TEST_F(ForeignHost, IsAskedForNothingWhileAnotherDeviceServes)
{
    Variable var;
    fill(var);
    addListReadVar(var.get());
    hostSettings.putWord(settings::kRemoteMode, 1);
    EXPECT_EQ(comCommunication(), nullptr);
    hostSettings.putWord(settings::kRemoteMode, 0);
    expectSent(kRegisterSession);
}
