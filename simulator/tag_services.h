// Read Tag, Write Tag and their fragmented forms.
#pragma once

#include "cip_message.h"
#include "request_path.h"
#include "tag_store.h"

namespace plcsim {

class TagServices {
public:
    struct Options {
        bool refuseLongReadData = false; ///< answer 0x15 to bytes behind a Read Tag's element count
    };

    TagServices(TagStore& store, Options options) : store_(store), options_(options) {}

    /// Serves a request whose path begins with a symbol. `mostReplyBytes` is what the way back
    /// carries, reply header included.
    CipReply handle(const CipRequest& request, const Path& path, std::size_t mostReplyBytes);

private:
    /// The part of a tag that a request names.
    struct Target {
        Tag* tag = nullptr;
        std::size_t first = 0;
        std::size_t count = 0;
    };

    struct WriteData {
        std::uint16_t typeCode = 0;
        std::uint32_t offset = 0;
        bool fragmented = false;
        ByteView values;
    };

    CipReply read(const CipRequest& request, Target target, std::size_t mostReplyBytes);
    CipReply readFragmented(const CipRequest& request, Target target, std::size_t mostReplyBytes);
    CipReply readRange(std::uint8_t serviceCode, const Target& target, std::size_t offset,
                       std::size_t mostReplyBytes);
    CipReply write(const CipRequest& request, Target target);
    std::uint8_t writeFixedWidth(const Target& target, const WriteData& data);
    std::uint8_t writeText(const Target& target, const WriteData& data);

    TagStore& store_;
    Options options_;
};

} // namespace plcsim
