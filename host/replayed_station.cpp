#include "replayed_station.h"

#include "cycle.h"

#include <algorithm>
#include <cctype>

namespace panelhost {
namespace {

std::string upper(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

void putU16(QByteArray* bytes, std::size_t at, std::size_t value)
{
    (*bytes)[static_cast<int>(at)] = static_cast<char>(value & 0xFF);
    (*bytes)[static_cast<int>(at + 1)] = static_cast<char>(value >> 8 & 0xFF);
}

/// Answers for a handshake that lies before the beginning of the capture. The driver looks at their
/// length, and copies a session handle and a connection ID that nobody sees.
QByteArray missingRegisterReply()
{
    return QByteArray(static_cast<int>(frame::kRegisterSessionSize), '\0');
}

QByteArray missingOpenReply()
{
    return QByteArray(static_cast<int>(frame::forward_open::kReplySize), '\0');
}

/// The reply to the same request for one element only.
QByteArray cutToFirstElement(ByteView reply, const CipType& type)
{
    namespace at = frame::connected;
    const std::size_t size = at::kValues + static_cast<std::size_t>(type.width);
    QByteArray cut(reinterpret_cast<const char*>(reply.data()), static_cast<int>(size));
    putU16(&cut, frame::kLength, size - frame::kHeaderSize);
    putU16(&cut, at::kDataItemLength, size - at::kSequenceCount);
    return cut;
}

bool covers(const ElementRange& outer, const ElementRange& inner)
{
    return outer.first <= inner.first && outer.end() >= inner.end() && outer.count > inner.count;
}

} // namespace

ReplayedStation::ReplayedStation(std::string name, std::string libraryFile)
    : name_(std::move(name)), libraryFile_(std::move(libraryFile)),
      registerReply_(missingRegisterReply()), openReply_(missingOpenReply())
{
}

ReplayedStation::~ReplayedStation() = default;

void ReplayedStation::beginSession(const QByteArray& registerReply, const QByteArray& openReply)
{
    forgetSession();
    registerReply_ = registerReply.isEmpty() ? missingRegisterReply() : registerReply;
    openReply_ = openReply;
    continueSession();
}

void ReplayedStation::continueSession()
{
    offlineReason_.clear();
    leftAt_.reset();
}

void ReplayedStation::lose(const std::string& reason)
{
    forgetSession();
    offlineReason_ = reason;
    leftAt_.reset();
}

/// Each session is fed to a fresh copy of the driver: nothing of an earlier one can linger in it.
void ReplayedStation::forgetSession()
{
    driver_.reset();
    for (Tag& tag : tags_) {
        tag.typeStored = false;
        for (Range& range : tag.ranges)
            range.current = false;
    }
}

const ReplayedStation::Tag* ReplayedStation::find(const std::string& name) const
{
    const auto found = tagsByName_.find(upper(name));
    return found != tagsByName_.end() ? &tags_[static_cast<std::size_t>(found->second)] : nullptr;
}

ReplayedStation::Tag& ReplayedStation::tagOf(const std::string& name)
{
    const auto [entry, isNew] =
        tagsByName_.emplace(upper(name), static_cast<int>(tagsByName_.size()));
    if (isNew) {
        Tag tag;
        tag.id = entry->second;
        tag.name = name;
        tag.driverName = QString::fromLatin1(name.c_str());
        tags_.push_back(tag);
    }
    return tags_[static_cast<std::size_t>(entry->second)];
}

ReplayedStation::Range& ReplayedStation::rangeOf(Tag* tag, const TagReference& read)
{
    auto found = std::find_if(tag->ranges.begin(), tag->ranges.end(), [&read](const Range& range) {
        return range.elements.first == read.first && range.elements.count == read.count;
    });
    if (found == tag->ranges.end()) {
        Range range;
        range.elements = {read.first, read.count};
        found = tag->ranges.insert(tag->ranges.end(), range);
    }
    found->askedBefore = found->lastAsked;
    found->lastAsked = ++reads_;
    return *found;
}

std::string ReplayedStation::store(const TagReference& read, ByteView reply,
                                   Clock::time_point askedAt)
{
    Tag& tag = tagOf(read.name);
    Range& range = rangeOf(&tag, read);
    const TagType type = typeOf(reply);
    if (tag.typeStored && tag.type != type) {
        std::string reason =
            "the data type of " + tag.name + " changed: another program was downloaded";
        lose(reason);
        return reason;
    }
    std::string obstacle = valueObstacle(reply, tag.name, read.count);
    if (obstacle.empty())
        obstacle = readObstacle(*type.element, range.elements);
    if (obstacle.empty() && type.element->kind == ValueKind::Text && read.count > 1)
        obstacle = "this driver reads texts one at a time";
    if (tag.type != type)
        for (Range& other : tag.ranges)
            other.values.clear(); // of another program, and of another type
    tag.type = type;
    tag.refusal.clear();
    if (obstacle.empty())
        obstacle = feed(&tag, range.elements, reply);
    range.refusal = obstacle;
    if (!obstacle.empty())
        return obstacle;

    const CipType& element = *type.element;
    const int textSize =
        element.kind == ValueKind::Text ? measureText(element, valueBytesOf(reply)) : 0;
    const unsigned int registers = registersFor(element, read.count, textSize);
    QByteArray fetched;
    // The driver has no entry for a text that was empty from the start.
    if (registers > 0 &&
        !driver_->fetch(tag.driverName, QString::number(read.first), 0, registers, &fetched))
        return range.refusal = "the driver holds no value of it";
    range.values = decodeRegisters(element, fetched, read.count, textSize);
    range.asOf = askedAt;
    range.current = true;
    ++statistics.values;
    return {};
}

std::string ReplayedStation::feed(Tag* tag, const ElementRange& elements, ByteView reply)
{
    if (driver_ == nullptr)
        driver_ = std::make_unique<Driver>(DriverLibrary::loadPrivateCopy(libraryFile_));
    const QByteArray whole(reinterpret_cast<const char*>(reply.data()),
                           static_cast<int>(reply.size()));
    if (!tag->typeStored) {
        // The driver's first read of a tag asks for one element, and files it where the host wants.
        const bool isText = tag->type.element->kind == ValueKind::Text;
        std::string failure = handIn(*tag, {elements.first, 1},
                                     isText ? whole : cutToFirstElement(reply, *tag->type.element));
        if (!failure.empty())
            return failure;
        tag->typeStored = true;
        if (elements.first == 0 && elements.count == 1)
            return {};
    }
    return handIn(*tag, elements, whole);
}

std::string ReplayedStation::handIn(const Tag& tag, const ElementRange& elements, QByteArray reply)
{
    RW_VAR var;
    var.hostArea = kProbe;
    var.hostAddress = tag.id;
    var.tagName = tag.driverName;
    var.indexText = QString::number(elements.first);
    var.dataKind = tag.id;
    var.accessKind = kStoreReply;
    var.onceFlag = 1;
    var.count = tag.typeStored ? onceCount(*tag.type.element, elements.count) : 1;
    var.isArrayTag = 1;
    driver_->queueOnceRead(var);
    const Protocol* request = dataRequest();
    if (request != nullptr && asksFor(ByteView(request->frame), tag, elements) &&
        driver_->acceptReply(*request, &reply))
        return {};
    forgetSession(); // what it asked for instead must not wait in it
    return "this driver would not have asked for it";
}

/// Whether the driver's own request names what the recorded one named. A tag whose type it does not
/// know yet it always asks for at element 0.
bool ReplayedStation::asksFor(ByteView request, const Tag& tag, const ElementRange& elements)
{
    const TagPath path = decodeTagPath(request);
    const ReadRequest read = decodeReadRequest(request);
    const auto first = static_cast<std::uint32_t>(tag.typeStored ? elements.first : 0);
    return read.valid && read.firstElement == first &&
           read.elements == static_cast<std::uint32_t>(elements.count) &&
           tag.name.compare(0, std::string::npos, reinterpret_cast<const char*>(path.name.data()),
                            path.name.size()) == 0;
}

/// The driver's next read, the handshake before it answered as in the recording.
const Protocol* ReplayedStation::dataRequest()
{
    // Handshake and read; and after some once-reads in a row the driver looks into its empty cyclic
    // list before it goes on.
    constexpr int kMostSteps = 4;
    for (int step = 0; step < kMostSteps; ++step) {
        const Protocol* request = driver_->nextRequest();
        if (request == nullptr)
            continue;
        const std::uint16_t command = ByteView(request->frame).u16(frame::kCommand);
        if (command == frame::kSendUnitData)
            return request;
        QByteArray reply = command == frame::kRegisterSession ? registerReply_ : openReply_;
        if (!driver_->acceptHandshake(&reply))
            return nullptr;
    }
    return nullptr;
}

void ReplayedStation::refuse(const TagReference& read, const Screened& refusal)
{
    Tag& tag = tagOf(read.name);
    Range& range = rangeOf(&tag, read);
    const bool beyondEnd = refusal.status.general == cip_status::kGeneralError &&
                           refusal.status.extended == cip_status::kBeyondEnd;
    range.refusal = refusal.reason;
    range.current = false;
    if (beyondEnd)
        return;
    tag.refusal = refusal.reason;
    for (Range& other : tag.ranges)
        other.current = false;
}

/// A probe of element 0 gives way to what is read again and again, to all elements if these are; and a
/// joined read that was refused gives way to the single ones made in its place.
bool ReplayedStation::isSuperseded(const Tag& tag, const Range& range)
{
    const bool maybeProbe = range.elements.first == 0 && range.elements.count == 1;
    return std::any_of(tag.ranges.begin(), tag.ranges.end(), [&](const Range& other) {
        if (maybeProbe && other.askedBefore > range.lastAsked)
            return true;
        if (covers(other.elements, range.elements))
            return other.refusal.empty() && other.lastAsked >= range.lastAsked;
        return !range.refusal.empty() && range.askedBefore == 0 &&
               covers(range.elements, other.elements) && other.lastAsked > range.lastAsked;
    });
}

void ReplayedStation::appendShown(const Tag& tag, Clock::time_point now,
                                  std::vector<ReplayedTag>* all) const
{
    for (const Range& range : tag.ranges) {
        if (isSuperseded(tag, range))
            continue;
        const bool isWhole = range.elements.first == 0 && range.elements.count == 1;
        all->push_back({{tag.name, range.elements.first, range.elements.count, !isWhole},
                        snapshot(tag, range.elements, now)});
    }
}

std::vector<ReplayedTag> ReplayedStation::shown(Clock::time_point now) const
{
    std::vector<ReplayedTag> all;
    for (const Tag& tag : tags_)
        appendShown(tag, now, &all);
    return all;
}

std::vector<ReplayedTag> ReplayedStation::shownOf(const std::string& tag,
                                                  Clock::time_point now) const
{
    std::vector<ReplayedTag> all;
    if (const Tag* known = find(tag))
        appendShown(*known, now, &all);
    return all;
}

Snapshot ReplayedStation::shown(const TagReference& reference, Clock::time_point now) const
{
    const Tag* tag = find(reference.name);
    if (tag != nullptr)
        return snapshot(*tag, {reference.first, reference.count}, now);
    Snapshot unknown;
    unknown.reason = "nobody asked for it in this recording";
    return unknown;
}

/// The last read that brought an element; a refused one says nothing about elements that another
/// brings.
const ReplayedStation::Range* ReplayedStation::newestOf(const Tag& tag, int element)
{
    const auto rank = [](const Range& range) {
        return std::make_pair(range.refusal.empty(), range.lastAsked);
    };
    const Range* newest = nullptr;
    for (const Range& range : tag.ranges)
        if (element >= range.elements.first && element < range.elements.end() &&
            (newest == nullptr || rank(range) > rank(*newest)))
            newest = &range;
    return newest;
}

Snapshot ReplayedStation::snapshot(const Tag& tag, const ElementRange& elements,
                                   Clock::time_point now) const
{
    now = leftAt_.value_or(now);
    Snapshot result;
    result.type = tag.type.element;
    result.asOf = now;
    const auto nothing = [&](const std::string& reason) {
        result.values.clear();
        result.reason = reason;
        return result;
    };
    if (!tag.refusal.empty())
        return nothing(tag.refusal);
    bool current = true;
    for (int element = elements.first; element < elements.end(); ++element) {
        const Range* newest = newestOf(tag, element);
        if (newest == nullptr)
            return nothing("element " + std::to_string(element) +
                           " was not asked for in this recording");
        if (!newest->refusal.empty())
            return nothing(newest->refusal);
        if (newest->values.size() != static_cast<std::size_t>(newest->elements.count))
            return nothing("not read yet");
        result.values.push_back(
            newest->values[static_cast<std::size_t>(element - newest->elements.first)]);
        result.asOf = std::min(result.asOf, newest->asOf);
        current = current && newest->current;
    }
    if (!offlineReason_.empty() || !current) {
        result.quality = Quality::Stale;
        result.reason = offlineReason_.empty() ? "waiting to be read again" : offlineReason_;
    } else if (now - result.asOf > CycleSettings().staleAfter) {
        result.quality = Quality::Stale;
        result.reason = "not refreshed in time";
    } else {
        result.quality = Quality::Good;
    }
    return result;
}

} // namespace panelhost
