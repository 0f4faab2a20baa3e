// The tags of one station: what is wanted of them, how far each has come in the present session, and
// what was read. Says what to read next and what may be shown. No lock of its own: the cycle's.
//
// A tag's way through a session:
//   Scouting  a read that the driver accepts without storing tells whether the tag exists and its
//             type. A refusal here leaves no trace in the driver, so it can be repeated.
//   Probing   a stored read of element 0 teaches the driver the type. The driver makes the first
//             read of a tag such a probe whatever element was asked for, and files it under that
//             element, so no other element is asked for before.
//   Reading   its blocks are in the cyclic list.
//   Refused   the controller, or the tag's type, does not allow it; scouted again after a while.

#ifndef PANELHOST_TAG_TABLE_H
#define PANELHOST_TAG_TABLE_H

#include "data_reply.h"
#include "driver.h"
#include "plan.h"
#include "screening.h"
#include "tag_reference.h"
#include "tcp_link.h"
#include "values.h"

#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace panelhost {

enum class Quality {
    Good,  ///< read from the controller, and not older than the age says
    Stale, ///< once good; the station does not answer at present
    Bad,   ///< no value; the reason says why
};

/// What may be shown of one reference.
struct Snapshot {
    Quality quality = Quality::Bad;
    std::string reason;            ///< empty when good
    bool settled = false;          ///< good, or refused for a reason of the tag's own
    const CipType* type = nullptr; ///< null until known
    std::vector<Value> values;     ///< empty when bad
    Clock::time_point asOf;        ///< the controller held the values at this time or later
};

/// One read of the cyclic list.
struct Block {
    ElementRange range;
    RW_VAR var;
    unsigned int registers = 0;
    QByteArray sample;    ///< the driver's registers after the last good reply
    int textSize = 0;     ///< of that reply, for text types
    bool current = false; ///< sample was read in the present session
    bool everRead = false;
    Clock::time_point readAt;  ///< when the request for sample was first sent
    std::string refusal;       ///< why the controller refused it; empty when it did not
    bool impossible = false;   ///< refusal is the host's own and stands for good
    bool listed = true;        ///< belongs in the cyclic list while its tag is being read
    Clock::time_point retryAt; ///< of a block that is not listed
};

struct Tag {
    enum class Stage { Scouting, Probing, Reading, Refused };

    int id = 0;
    std::string name;
    QString driverName;
    std::vector<ElementRange> wanted;
    Stage stage = Stage::Scouting;
    std::string refusal;
    Clock::time_point retryAt;
    bool queued = false; ///< its scout or probe waits in the table's queue
    bool typeKnown = false;
    TagType type;
    bool typeStored = false; ///< the driver knows the type in the present session
    bool separate = false;   ///< one read per wanted range, since a joined one was refused
    std::vector<Block> blocks;
};

enum class ListChange {
    None,
    Append, ///< the tag's blocks join the list
    Rebuild,
};

class TagTable {
public:
    TagTable(int station, std::chrono::milliseconds refusedRetry)
        : station_(station), refusedRetry_(refusedRetry)
    {
    }

    /// Wants a reference; the answer names its tag. Names that differ in case only are one tag.
    int want(const TagReference& reference);

    /// Forgets what the driver forgets with a session. Samples become stale.
    void startSession();

    /// The next scout or probe, if any waits.
    std::optional<RW_VAR> nextOnceRead();

    /// A scout of no use but to be answered, if there is a tag.
    std::optional<RW_VAR> anyOnceRead() const;

    /// When retryRefused() has something to do again.
    Clock::time_point nextRetry() const { return nextRetry_; }

    /// Gives refused tags and blocks whose time has come another try; true when the cyclic list
    /// changes by it.
    bool retryRefused(Clock::time_point now);

    // --- Outcomes, each with what it means for the cyclic list ---

    ListChange scouted(int tag, const TagType& type, int valueBytes, Clock::time_point now);
    /// A storing read of the tag was good.
    ListChange stored(int tag);
    ListChange tagRefused(int tag, const std::string& reason, Clock::time_point now);
    ListChange blockRefused(int tag, int block, const Screened& refusal, Clock::time_point now);

    bool valid(int tag, int block) const;
    Tag& tag(int id) { return tags_[static_cast<std::size_t>(id)]; }
    const Tag& tag(int id) const { return tags_[static_cast<std::size_t>(id)]; }
    Block& block(int tagId, int block)
    {
        return tag(tagId).blocks[static_cast<std::size_t>(block)];
    }
    bool knows(int id) const { return id >= 0 && id < static_cast<int>(tags_.size()); }
    const std::vector<Tag>& tags() const { return tags_; }

    /// What may be shown. offlineReason is empty while the station answers.
    Snapshot snapshot(int tag, const ElementRange& range, const std::string& offlineReason,
                      Clock::time_point now, Clock::duration staleAfter) const;

private:
    void queue(Tag* tag);
    void plan(Tag* tag);
    Block makeBlock(const Tag& tag, const ElementRange& range, int index) const;
    RW_VAR variable(const Tag& tag, Purpose purpose) const;
    RW_VAR onceRead(const Tag& tag, Purpose purpose) const;

    int station_;
    std::chrono::milliseconds refusedRetry_;
    std::vector<Tag> tags_;
    std::deque<int> waiting_; ///< tags to scout or probe
    Clock::time_point nextRetry_ = Clock::time_point::max();
};

} // namespace panelhost

#endif // PANELHOST_TAG_TABLE_H
