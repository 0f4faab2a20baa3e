#include "tag_table.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

namespace panelhost {
namespace {

std::string typeObstacle(const TagType& type, int valueBytes)
{
    constexpr std::uint8_t kStructure = 0xA0;
    if (type.bytes[0] == kStructure)
        return "a structure cannot be shown, only tags of elementary types";
    if (type.element == nullptr) {
        char text[60];
        std::snprintf(text, sizeof text, "data type 0x%02X%02X is not known",
                      unsigned{type.bytes[1]}, unsigned{type.bytes[0]});
        return text;
    }
    if (type.element->width > 0 && valueBytes != type.element->width)
        return std::string("one ") + type.element->name + " came with " +
               std::to_string(valueBytes) + " bytes";
    return {};
}

} // namespace

int TagTable::want(const TagReference& reference)
{
    auto found = std::find_if(tags_.begin(), tags_.end(), [&reference](const Tag& tag) {
        return sameTagName(tag.name, reference.name);
    });
    if (found == tags_.end()) {
        Tag tag;
        tag.id = static_cast<int>(tags_.size());
        tag.name = reference.name;
        tag.driverName = QString::fromLatin1(reference.name.c_str());
        tags_.push_back(tag);
        found = tags_.end() - 1;
    }
    found->wanted.push_back({reference.first, reference.count});
    return found->id;
}

void TagTable::startSession()
{
    waiting_.clear();
    nextRetry_ = Clock::time_point::max();
    for (Tag& tag : tags_) {
        tag.stage = Tag::Stage::Scouting;
        tag.refusal.clear();
        tag.typeStored = false;
        tag.queued = false;
        for (Block& block : tag.blocks) {
            block.current = false;
            block.listed = !block.impossible;
            if (!block.impossible)
                block.refusal.clear();
        }
        queue(&tag);
    }
}

void TagTable::queue(Tag* tag)
{
    if (tag->queued)
        return;
    tag->queued = true;
    waiting_.push_back(tag->id);
}

RW_VAR TagTable::variable(const Tag& tag, Purpose purpose) const
{
    RW_VAR var;
    var.hostArea = purpose;
    var.hostAddress = tag.id;
    var.tagName = tag.driverName;
    var.indexText = QStringLiteral("0");
    // Waiting writes are told apart by this number and the elements, not by their tags.
    var.dataKind = tag.id;
    var.station = station_;
    var.count = 1;
    var.isArrayTag = 1;
    return var;
}

RW_VAR TagTable::onceRead(const Tag& tag, Purpose purpose) const
{
    RW_VAR var = variable(tag, purpose);
    var.accessKind = purpose == kProbe ? kStoreReply : kAcceptWithoutStore;
    var.onceFlag = 1;
    // Of a tag whose type it does not know the driver asks for one element whatever the count.
    if (tag.typeStored)
        var.count = onceCount(*tag.type.element, 1);
    return var;
}

std::optional<RW_VAR> TagTable::nextOnceRead()
{
    if (waiting_.empty())
        return std::nullopt;
    Tag& next = tag(waiting_.front());
    waiting_.pop_front();
    next.queued = false;
    return onceRead(next, next.stage == Tag::Stage::Probing ? kProbe : kScout);
}

std::optional<RW_VAR> TagTable::anyOnceRead() const
{
    if (tags_.empty())
        return std::nullopt;
    return onceRead(tags_.front(), kScout);
}

bool TagTable::retryRefused(Clock::time_point now)
{
    if (now < nextRetry_)
        return false;
    bool listChanged = false;
    nextRetry_ = Clock::time_point::max();
    for (Tag& tag : tags_) {
        if (tag.stage == Tag::Stage::Refused) {
            if (tag.retryAt <= now) {
                tag.stage = Tag::Stage::Scouting;
                queue(&tag);
            } else {
                nextRetry_ = std::min(nextRetry_, tag.retryAt);
            }
        } else if (tag.stage == Tag::Stage::Reading) {
            for (Block& block : tag.blocks) {
                if (block.listed || block.impossible)
                    continue;
                if (block.retryAt <= now)
                    block.listed = listChanged = true; // the reason stays until an answer comes
                else
                    nextRetry_ = std::min(nextRetry_, block.retryAt);
            }
        }
    }
    return listChanged;
}

Block TagTable::makeBlock(const Tag& tag, const ElementRange& range, int index) const
{
    const CipType& type = *tag.type.element;
    Block block;
    block.range = range;
    block.var = variable(tag, kCyclicRead);
    block.var.hostWord3 = index;
    block.var.accessKind = kStoreReply;
    block.var.startIndex = range.first;
    block.var.indexText = QString::number(range.first);
    block.var.count = cyclicCount(type, range.count);
    block.registers = registersFor(type, range.count, 0);
    block.refusal = readObstacle(type, range);
    block.impossible = !block.refusal.empty();
    block.listed = !block.impossible;
    return block;
}

void TagTable::plan(Tag* tag)
{
    const CipType& type = *tag->type.element;
    const std::vector<ElementRange> reads =
        tag->separate ? planSeparateReads(type, tag->wanted) : planReads(type, tag->wanted);
    tag->blocks.clear();
    for (const ElementRange& range : reads)
        tag->blocks.push_back(makeBlock(*tag, range, static_cast<int>(tag->blocks.size())));
}

ListChange TagTable::scouted(int id, const TagType& type, int valueBytes, Clock::time_point now)
{
    Tag& scouted = tag(id);
    const std::string obstacle = typeObstacle(type, valueBytes);
    if (!obstacle.empty()) {
        scouted.blocks.clear();
        return tagRefused(id, obstacle, now);
    }
    const bool sameAsBefore = scouted.typeKnown && scouted.type == type && !scouted.blocks.empty();
    if (scouted.stage == Tag::Stage::Reading && sameAsBefore)
        return ListChange::None;
    if (!sameAsBefore) {
        scouted.typeKnown = true;
        scouted.type = type;
        plan(&scouted);
    }
    scouted.refusal.clear();
    const ElementRange first = scouted.blocks.front().range;
    const bool isItsOwnProbe = scouted.blocks.size() == 1 && first.first == 0 && first.count == 1;
    if (scouted.typeStored || isItsOwnProbe) {
        scouted.stage = Tag::Stage::Reading;
        return ListChange::Append;
    }
    scouted.stage = Tag::Stage::Probing;
    queue(&scouted);
    return ListChange::None;
}

ListChange TagTable::stored(int id)
{
    Tag& stored = tag(id);
    stored.typeStored = true;
    if (stored.stage != Tag::Stage::Probing)
        return ListChange::None;
    stored.stage = Tag::Stage::Reading;
    return ListChange::Append;
}

ListChange TagTable::tagRefused(int id, const std::string& reason, Clock::time_point now)
{
    Tag& refused = tag(id);
    const bool wasListed = refused.stage == Tag::Stage::Reading;
    refused.stage = Tag::Stage::Refused;
    refused.refusal = reason;
    refused.retryAt = now + refusedRetry_;
    nextRetry_ = std::min(nextRetry_, refused.retryAt);
    for (Block& block : refused.blocks)
        block.current = false;
    return wasListed ? ListChange::Rebuild : ListChange::None;
}

ListChange TagTable::blockRefused(int id, int blockIndex, const Screened& refusal,
                                  Clock::time_point now)
{
    Tag& owner = tag(id);
    const bool beyondEnd = refusal.status.general == cip_status::kGeneralError &&
                           refusal.status.extended == cip_status::kBeyondEnd;
    if (!beyondEnd)
        return tagRefused(id, refusal.reason, now);
    if (!owner.separate && owner.wanted.size() > 1) {
        owner.separate = true;
        plan(&owner);
        return ListChange::Rebuild;
    }
    Block& refused = block(id, blockIndex);
    refused.refusal = refusal.reason;
    refused.retryAt = now + refusedRetry_;
    nextRetry_ = std::min(nextRetry_, refused.retryAt);
    refused.listed = false;
    refused.current = false;
    return ListChange::Rebuild;
}

bool TagTable::valid(int id, int blockIndex) const
{
    return knows(id) && blockIndex >= 0 && blockIndex < static_cast<int>(tag(id).blocks.size());
}

Snapshot TagTable::snapshot(int id, const ElementRange& range, const std::string& offlineReason,
                            Clock::time_point now, Clock::duration staleAfter) const
{
    const Tag& shown = tag(id);
    Snapshot result;
    if (shown.typeKnown)
        result.type = shown.type.element;
    if (shown.stage == Tag::Stage::Refused) {
        result.reason = shown.refusal;
        result.settled = true;
        return result;
    }
    if (!shown.typeKnown) {
        result.reason = offlineReason.empty() ? "not read yet" : offlineReason;
        return result;
    }

    result.asOf = now;
    bool current = true;
    const auto nothing = [&](const std::string& reason, bool settled) {
        result.values.clear();
        result.reason = reason;
        result.settled = settled;
        return result;
    };
    const std::string notYet = offlineReason.empty() ? "not read yet" : offlineReason;
    for (int element = range.first; element < range.end();) {
        const auto holder =
            std::find_if(shown.blocks.begin(), shown.blocks.end(), [element](const Block& block) {
                return element >= block.range.first && element < block.range.end();
            });
        if (holder != shown.blocks.end() && !holder->refusal.empty())
            return nothing(holder->refusal, true);
        if (holder == shown.blocks.end() || !holder->everRead)
            return nothing(notYet, false);
        const std::vector<Value> decoded = decodeRegisters(*shown.type.element, holder->sample,
                                                           holder->range.count, holder->textSize);
        if (decoded.size() != static_cast<std::size_t>(holder->range.count))
            return nothing("its value came incomplete", true);
        const int last = std::min(range.end(), holder->range.end());
        for (; element < last; ++element)
            result.values.push_back(
                decoded[static_cast<std::size_t>(element - holder->range.first)]);
        result.asOf = std::min(result.asOf, holder->readAt);
        current = current && holder->current;
    }

    if (!offlineReason.empty() || !current) {
        result.quality = Quality::Stale;
        result.reason = offlineReason.empty() ? "waiting to be read again" : offlineReason;
    } else if (now - result.asOf > staleAfter) {
        result.quality = Quality::Stale;
        result.reason = "not refreshed in time";
    } else {
        result.quality = Quality::Good;
        result.settled = true;
    }
    return result;
}

} // namespace panelhost
