// One controller of a recorded conversation: feeds the recorded replies to the driver, without a
// network, and keeps what a host would have shown.
//
// The driver is asked for the very elements that the recorded request named, and only when its own
// request names them too is the recorded reply handed in. What is shown is what the driver then holds.

#ifndef PANELHOST_REPLAYED_STATION_H
#define PANELHOST_REPLAYED_STATION_H

#include "statistics.h"
#include "tag_table.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace panelhost {

struct ReplayedTag {
    TagReference reference;
    Snapshot shown;
};

class ReplayedStation {
public:
    ReplayedStation(std::string name, std::string libraryFile);
    ~ReplayedStation();

    const std::string& name() const { return name_; }

    /// The controller granted a connection; these were its answers. The first may be missing.
    void beginSession(const QByteArray& registerReply, const QByteArray& openReply);

    /// Answers are seen though the capture begins too late to show the handshake.
    void continueSession();

    /// Feeds a good reply. Answers why nothing was stored; empty when all is well.
    std::string store(const TagReference& read, ByteView reply, Clock::time_point askedAt);

    void refuse(const TagReference& read, const Screened& refusal);

    /// The session ended with a failure.
    void lose(const std::string& reason);

    /// The host itself ended the session, with nothing amiss: what is shown stays as it is.
    void leave(Clock::time_point time) { leftAt_ = time; }

    /// What was shown at a time, of everything that was asked for in the order of first appearance.
    std::vector<ReplayedTag> shown(Clock::time_point now) const;

    /// The same of one tag's elements.
    std::vector<ReplayedTag> shownOf(const std::string& tag, Clock::time_point now) const;

    /// The same of one reference.
    Snapshot shown(const TagReference& reference, Clock::time_point now) const;

    /// Whether any request of the recording asked for this tag.
    bool knows(const std::string& tag) const { return find(tag) != nullptr; }

    Statistics statistics;

private:
    /// Elements that were asked for in one read.
    struct Range {
        ElementRange elements;
        std::vector<Value> values;
        Clock::time_point asOf;
        bool current = false; ///< read in the present session
        std::string refusal;
        int lastAsked = 0; ///< position in the order of all reads, from 1
        int askedBefore = 0;
    };
    struct Tag {
        int id = 0;
        std::string name;
        QString driverName;
        TagType type;
        bool typeStored = false;
        std::string refusal;
        std::vector<Range> ranges;
    };

    const Tag* find(const std::string& name) const;
    Tag& tagOf(const std::string& name);
    Range& rangeOf(Tag* tag, const TagReference& read);
    std::string feed(Tag* tag, const ElementRange& elements, ByteView reply);
    std::string handIn(const Tag& tag, const ElementRange& elements, QByteArray reply);
    static bool asksFor(ByteView request, const Tag& tag, const ElementRange& elements);
    const Protocol* dataRequest();
    void forgetSession();
    static bool isSuperseded(const Tag& tag, const Range& range);
    void appendShown(const Tag& tag, Clock::time_point now, std::vector<ReplayedTag>* all) const;
    static const Range* newestOf(const Tag& tag, int element);
    Snapshot snapshot(const Tag& tag, const ElementRange& elements, Clock::time_point now) const;

    std::string name_;
    std::string libraryFile_;
    std::unique_ptr<Driver> driver_; ///< loaded with the first good reply of a session
    QByteArray registerReply_;
    QByteArray openReply_;
    std::string offlineReason_; ///< empty while the controller answers
    std::optional<Clock::time_point> leftAt_;
    std::vector<Tag> tags_;
    std::map<std::string, int> tagsByName_; ///< in capitals
    int reads_ = 0;
};

} // namespace panelhost

#endif // PANELHOST_REPLAYED_STATION_H
