#include "tag_table.h"

#include <gtest/gtest.h>

namespace panelhost {
namespace {

using std::chrono::milliseconds;

class Tags : public testing::Test {
protected:
    int want(const char* text) { return table_.want(parseTagReference(text)); }

    static TagType type(const char* name)
    {
        TagType type;
        type.element = findCipType(std::string(name));
        type.bytes[0] = type.element->code;
        return type;
    }

    Snapshot shown(int tag, int first, int count, const std::string& offline = {})
    {
        return table_.snapshot(tag, {first, count}, offline, now_, milliseconds(1000));
    }

    /// As the cycle does after a good reply.
    void publish(int tag, int block, const QByteArray& registers)
    {
        Block& read = table_.block(tag, block);
        read.sample = registers;
        read.current = read.everRead = true;
        read.readAt = now_;
        read.refusal.clear();
    }

    static Screened beyondEnd()
    {
        return {Verdict::Refused, {cip_status::kGeneralError, cip_status::kBeyondEnd}, "beyond"};
    }

    TagTable table_{3, milliseconds(5000)};
    Clock::time_point now_ = Clock::now();
};

TEST_F(Tags, NamesThatDifferInCaseOnlyAreOneTag)
{
    EXPECT_EQ(want("Counter"), want("COUNTER[4]"));
    EXPECT_NE(want("Counter"), want("Counter2"));
}

TEST_F(Tags, EveryTagHasADataKindOfItsOwn)
{
    want("A");
    want("B");
    table_.startSession();
    const RW_VAR a = *table_.nextOnceRead();
    const RW_VAR b = *table_.nextOnceRead();
    EXPECT_NE(a.dataKind, b.dataKind);
    EXPECT_EQ(a.station, 3);
}

TEST_F(Tags, AScoutIsAcceptedWithoutStoringAndAProbeIsStored)
{
    const int tag = want("Arr[7]");
    table_.startSession();
    const RW_VAR scout = *table_.nextOnceRead();
    EXPECT_EQ(scout.hostArea, kScout);
    EXPECT_EQ(scout.accessKind, kAcceptWithoutStore);
    EXPECT_EQ(table_.scouted(tag, type("INT"), 2, now_), ListChange::None);

    const RW_VAR probe = *table_.nextOnceRead();
    EXPECT_EQ(probe.hostArea, kProbe);
    EXPECT_EQ(probe.accessKind, kStoreReply);
    EXPECT_EQ(probe.startIndex, 0);
    EXPECT_EQ(table_.stored(tag), ListChange::Append);
    EXPECT_EQ(table_.tag(tag).blocks[0].var.startIndex, 7);
}

TEST_F(Tags, ASingleValueNeedsNoProbe)
{
    const int tag = want("Counter");
    table_.startSession();
    table_.nextOnceRead();
    EXPECT_EQ(table_.scouted(tag, type("DINT"), 4, now_), ListChange::Append);
    EXPECT_FALSE(table_.nextOnceRead().has_value());
    EXPECT_EQ(table_.tag(tag).blocks[0].var.count, 2);
}

TEST_F(Tags, ARefusedScoutIsTriedAgainAfterAWhileAndNotBefore)
{
    const int tag = want("Nope");
    table_.startSession();
    table_.nextOnceRead();
    table_.tagRefused(tag, "no such tag", now_);
    EXPECT_EQ(shown(tag, 0, 1).reason, "no such tag");
    EXPECT_TRUE(shown(tag, 0, 1).settled);
    table_.retryRefused(now_ + milliseconds(4999));
    EXPECT_FALSE(table_.nextOnceRead().has_value());
    table_.retryRefused(now_ + milliseconds(5000));
    EXPECT_TRUE(table_.nextOnceRead().has_value());
}

TEST_F(Tags, AJoinedReadBeyondTheEndIsTakenApart)
{
    const int tag = want("Arr[2]");
    want("Arr[9]");
    table_.startSession();
    table_.nextOnceRead();
    table_.scouted(tag, type("INT"), 2, now_);
    table_.stored(tag);
    ASSERT_EQ(table_.tag(tag).blocks.size(), 1u);
    EXPECT_EQ(table_.blockRefused(tag, 0, beyondEnd(), now_), ListChange::Rebuild);
    ASSERT_EQ(table_.tag(tag).blocks.size(), 2u);

    table_.blockRefused(tag, 1, beyondEnd(), now_);
    publish(tag, 0, QByteArray("\x05\x00", 2));
    EXPECT_EQ(shown(tag, 2, 1).quality, Quality::Good);
    EXPECT_EQ(shown(tag, 9, 1).quality, Quality::Bad);
    EXPECT_EQ(shown(tag, 9, 1).reason, "beyond");
}

TEST_F(Tags, AValueIsGoodThenTooOldThenStaleWhenTheStationIsGone)
{
    const int tag = want("Counter");
    table_.startSession();
    table_.nextOnceRead();
    table_.scouted(tag, type("INT"), 2, now_);
    EXPECT_EQ(shown(tag, 0, 1).reason, "not read yet");
    publish(tag, 0, QByteArray("\x34\x12", 2));
    EXPECT_EQ(shown(tag, 0, 1).quality, Quality::Good);
    EXPECT_EQ(shown(tag, 0, 1, "no answer").quality, Quality::Stale);
    EXPECT_EQ(shown(tag, 0, 1, "no answer").reason, "no answer");
    now_ += milliseconds(1001);
    EXPECT_EQ(shown(tag, 0, 1).quality, Quality::Stale);
}

TEST_F(Tags, ANewSessionMakesEveryValueStaleUntilItIsReadAgain)
{
    const int tag = want("Counter");
    table_.startSession();
    table_.nextOnceRead();
    table_.scouted(tag, type("INT"), 2, now_);
    publish(tag, 0, QByteArray("\x34\x12", 2));
    table_.startSession();
    EXPECT_EQ(shown(tag, 0, 1).quality, Quality::Stale);
    table_.nextOnceRead();
    table_.scouted(tag, type("INT"), 2, now_);
    EXPECT_EQ(shown(tag, 0, 1).quality, Quality::Stale);
    publish(tag, 0, QByteArray("\x35\x12", 2));
    EXPECT_EQ(shown(tag, 0, 1).quality, Quality::Good);
}

TEST_F(Tags, AnotherTypeInANewSessionForgetsTheOldValue)
{
    const int tag = want("Counter");
    table_.startSession();
    table_.nextOnceRead();
    table_.scouted(tag, type("INT"), 2, now_);
    publish(tag, 0, QByteArray("\x34\x12", 2));
    table_.startSession();
    table_.nextOnceRead();
    table_.scouted(tag, type("DINT"), 4, now_);
    EXPECT_EQ(shown(tag, 0, 1).quality, Quality::Bad);
    EXPECT_EQ(shown(tag, 0, 1).reason, "not read yet");
}

TEST_F(Tags, ARangeOverSeveralReadsIsAsOldAsItsOldestPart)
{
    const int tag = want("Arr[0..299]");
    table_.startSession();
    table_.nextOnceRead();
    table_.scouted(tag, type("INT"), 2, now_);
    table_.stored(tag);
    ASSERT_EQ(table_.tag(tag).blocks.size(), 2u);
    publish(tag, 0, QByteArray(496, '\x01'));
    EXPECT_EQ(shown(tag, 0, 300).quality, Quality::Bad);
    const Clock::time_point first = now_;
    now_ += milliseconds(10);
    publish(tag, 1, QByteArray(104, '\x02'));
    const Snapshot all = shown(tag, 0, 300);
    EXPECT_EQ(all.quality, Quality::Good);
    EXPECT_EQ(all.asOf, first);
    ASSERT_EQ(all.values.size(), 300u);
    EXPECT_EQ(std::get<std::int64_t>(all.values[247]), 0x0101);
    EXPECT_EQ(std::get<std::int64_t>(all.values[248]), 0x0202);
}

TEST_F(Tags, AStructureOrAnUnknownTypeIsRefusedInWords)
{
    const int tag = want("Motor");
    table_.startSession();
    table_.nextOnceRead();
    TagType structure;
    structure.bytes[0] = 0xA0;
    structure.bytes[1] = 0x02;
    table_.scouted(tag, structure, 86, now_);
    EXPECT_EQ(shown(tag, 0, 1).reason,
              "a structure cannot be shown, only tags of elementary types");
    table_.scouted(tag, type("DINT"), 3, now_);
    EXPECT_EQ(shown(tag, 0, 1).reason, "one DINT came with 3 bytes");
}

} // namespace
} // namespace panelhost
