#include "tag_file.h"

#include <toml++/toml.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

namespace plcsim {

namespace {

constexpr std::size_t kLongestName = 255;          // the length field of a symbolic segment
constexpr std::size_t kMostElements = 1000 * 1000; // so that a typo does not eat the memory
constexpr std::int64_t kLongestFile = 16 << 20;

/// Names the place of every complaint: file, line and, once known, the tag.
class Place {
public:
    explicit Place(std::string path) : path_(std::move(path)) {}

    void inTag(const std::string& name) { tag_ = "tag \"" + name + "\": "; }

    [[noreturn]] void fail(const toml::node& node, const std::string& message) const
    {
        throw TagFileError(path_ + ":" + std::to_string(node.source().begin.line) + ": " + tag_ +
                           message);
    }

private:
    std::string path_;
    std::string tag_;
};

/// The entries of one TOML table, each asked for once; whatever nobody asked for is a mistake.
class Entries {
public:
    Entries(const toml::table& table, const Place& place) : table_(table), place_(place) {}

    const toml::node* get(const char* key)
    {
        known_.insert(key);
        return table_.get(key);
    }

    std::string text(const char* key, std::string fallback)
    {
        const toml::node* node = get(key);
        if (!node)
            return fallback;
        if (!node->is_string())
            place_.fail(*node, std::string(key) + " is to be a text in quotes");
        return **node->as_string();
    }

    std::int64_t integer(const char* key, std::int64_t min, std::int64_t max, std::int64_t fallback)
    {
        const toml::node* node = get(key);
        if (!node)
            return fallback;
        if (!node->is_integer() || **node->as_integer() < min || **node->as_integer() > max)
            place_.fail(*node, std::string(key) + " is to be a whole number, " +
                                   std::to_string(min) + ".." + std::to_string(max));
        return **node->as_integer();
    }

    bool boolean(const char* key, bool fallback)
    {
        const toml::node* node = get(key);
        if (!node)
            return fallback;
        if (!node->is_boolean())
            place_.fail(*node, std::string(key) + " is to be true or false");
        return **node->as_boolean();
    }

    void refuseOthers() const
    {
        for (const auto& [key, node] : table_)
            if (known_.count(std::string(key.str())) == 0)
                place_.fail(node, "unknown key \"" + std::string(key.str()) + "\"");
    }

private:
    const toml::table& table_;
    const Place& place_;
    std::set<std::string> known_;
};

Value scalarFrom(const toml::node& node, const CipType& type)
{
    if (const auto* text = node.as_string())
        return type.isText() ? Value(**text) : parseValue(type, **text);
    if (const auto* number = node.as_integer())
        return integerValue(type, **number);
    if (const auto* number = node.as_floating_point())
        return realValue(type, **number);
    if (const auto* flag = node.as_boolean()) {
        if (type.kind != TypeKind::Boolean)
            throw ValueError(std::string("true and false are BOOL values, the type is ") +
                             type.name);
        return std::uint64_t{**flag};
    }
    throw ValueError("a value is a number, true or false, or a text in quotes");
}

/// Reads the tags of one document; the tag at hand is named in every complaint.
class TagReader {
public:
    TagReader(const toml::table& table, Place place)
        : place_(std::move(place)), table_(table), entries_(table, place_)
    {
    }

    TagDefinition read()
    {
        readName();
        readType();
        readSize();
        tag_.readOnly = entries_.boolean("read_only", false);
        tag_.maxLength = static_cast<std::size_t>(entries_.integer("max_length", 1, longest(), 80));
        if (!tag_.type->isText() && table_.contains("max_length"))
            place_.fail(*table_.get("max_length"), "max_length is for texts only");
        readValues("value", tag_.values, tag_.size.value_or(1));
        readMotion();
        entries_.refuseOthers();
        return tag_;
    }

private:
    std::int64_t longest() const
    {
        return tag_.type->isText() ? static_cast<std::int64_t>(tag_.type->longestText()) : 255;
    }

    void readName()
    {
        tag_.name = entries_.text("name", "");
        if (tag_.name.empty())
            place_.fail(table_, "a [[tag]] needs a name");
        place_.inTag(tag_.name);
        const auto belongs = [](unsigned char c) { return std::isalnum(c) || c == '_'; };
        if (tag_.name.size() > kLongestName ||
            std::isdigit(static_cast<unsigned char>(tag_.name[0])) ||
            !std::all_of(tag_.name.begin(), tag_.name.end(), belongs))
            place_.fail(*table_.get("name"), "a name is made of letters, digits and _, does not "
                                             "begin with a digit and has at most 255 characters");
    }

    void readType()
    {
        const std::string name = entries_.text("type", "");
        tag_.type = findType(name);
        if (tag_.type)
            return;
        std::string known;
        for (const std::string& type : typeNames())
            known += (known.empty() ? "" : ", ") + type;
        const toml::node* node = table_.get("type");
        place_.fail(node ? *node : table_,
                    name.empty() ? "a [[tag]] needs a type"
                                 : "unknown type \"" + name + "\" (known: " + known + ")");
    }

    void readSize()
    {
        if (table_.contains("size"))
            tag_.size = static_cast<std::size_t>(
                entries_.integer("size", 1, static_cast<std::int64_t>(kMostElements), 1));
        else
            entries_.get("size");
    }

    Value readScalar(const toml::node& node)
    {
        try {
            const Value value = scalarFrom(node, *tag_.type);
            const auto* text = std::get_if<std::string>(&value);
            if (text && text->size() > tag_.maxLength)
                throw ValueError("the text has " + std::to_string(text->size()) +
                                 " characters, max_length is " + std::to_string(tag_.maxLength));
            return value;
        } catch (const ValueError& error) {
            place_.fail(node, error.what());
        }
    }

    void readValues(const char* key, std::vector<Value>& values, std::size_t most)
    {
        const toml::node* node = entries_.get(key);
        if (!node)
            return;
        const toml::array* list = node->as_array();
        if (!list) {
            values.push_back(readScalar(*node));
            return;
        }
        if (list->size() > most)
            place_.fail(*node, std::string(key) + " lists " + std::to_string(list->size()) +
                                   " values, there is room for " + std::to_string(most));
        for (const toml::node& element : *list)
            values.push_back(readScalar(element));
    }

    Value readLimit(const char* key, const Value& fallback)
    {
        const toml::node* node = entries_.get(key);
        return node ? readScalar(*node) : fallback;
    }

    void readMotion()
    {
        Motion& motion = tag_.motion;
        try {
            motion.kind = motionKind(entries_.text("motion", "fixed"));
        } catch (const std::invalid_argument& error) {
            place_.fail(*table_.get("motion"), error.what());
        }
        if (motion.kind == MotionKind::Fixed)
            return refuseMotionKeys();
        readPeriod();
        if (motion.kind == MotionKind::Cycle)
            readChoices();
        else
            readRange();
    }

    void refuseMotionKeys() const
    {
        for (const char* key : {"period", "min", "max", "step", "choices"})
            if (const toml::node* node = table_.get(key))
                place_.fail(*node, std::string(key) + " is for moving tags, and motion is fixed");
    }

    void readPeriod()
    {
        const toml::node* node = entries_.get("period");
        if (!node)
            return;
        const auto seconds = node->value<double>();
        if (!seconds || !std::isfinite(*seconds) || *seconds < 0.001 || *seconds > 1e6)
            place_.fail(*node, "period is a number of seconds, 0.001..1000000");
        tag_.motion.periodSeconds = *seconds;
    }

    void readChoices()
    {
        readValues("choices", tag_.motion.choices, kMostElements);
        if (tag_.motion.choices.empty())
            place_.fail(*table_.get("motion"), "motion \"cycle\" needs choices = [ ... ]");
        for (std::size_t i = tag_.values.size(); i < tag_.size.value_or(1); ++i)
            tag_.values.push_back(tag_.motion.choices[i % tag_.motion.choices.size()]);
    }

    void readRange()
    {
        const CipType& type = *tag_.type;
        if (type.isText())
            place_.fail(*table_.get("motion"), "a text moves with motion \"cycle\" only");
        const bool counts = tag_.motion.kind == MotionKind::Count;
        tag_.motion.min = readLimit("min", zeroOf(type));
        tag_.motion.max = readLimit("max", defaultMax(counts));
        tag_.motion.step =
            counts ? readLimit("step", integerValue(type, 1)) : integerValue(type, 1);
        if (tag_.motion.min > tag_.motion.max)
            place_.fail(*table_.get("motion"), "min is above max");
        for (std::size_t i = tag_.values.size(); i < tag_.size.value_or(1); ++i)
            tag_.values.push_back(tag_.motion.min);
    }

    Value defaultMax(bool counts) const
    {
        const CipType& type = *tag_.type;
        if (type.kind == TypeKind::Boolean)
            return std::uint64_t{1};
        if (!counts)
            return integerValue(type, 100);
        if (type.kind == TypeKind::Signed)
            return type.maxSigned();
        return type.kind == TypeKind::Real ? Value(1e9) : Value(type.maxUnsigned());
    }

    Place place_;
    const toml::table& table_;
    Entries entries_;
    TagDefinition tag_;
};

void readRevision(Entries& entries, const Place& place, ControllerIdentity& identity)
{
    const std::string text = entries.text("revision", "");
    if (text.empty())
        return;
    const CipType& byte = *findType("USINT");
    const auto dot = text.find('.');
    try {
        const Value major = parseValue(byte, std::string_view(text).substr(0, dot));
        const Value minor =
            dot == std::string::npos ? zeroOf(byte) : parseValue(byte, text.substr(dot + 1));
        identity.majorRevision = static_cast<std::uint8_t>(std::get<std::uint64_t>(major));
        identity.minorRevision = static_cast<std::uint8_t>(std::get<std::uint64_t>(minor));
    } catch (const ValueError&) {
        place.fail(*entries.get("revision"), "revision is to be a text such as \"12.11\"");
    }
}

void readController(const toml::table& table, const Place& place, Program& program)
{
    Entries entries(table, place);
    ControllerIdentity& identity = program.identity;
    identity.name = entries.text("name", identity.name);
    if (identity.name.size() > 32)
        place.fail(*entries.get("name"), "a product name has at most 32 characters");
    const auto word = [&entries](const char* key, std::uint16_t fallback) {
        return static_cast<std::uint16_t>(entries.integer(key, 0, 0xFFFF, fallback));
    };
    identity.vendor = word("vendor", identity.vendor);
    identity.deviceType = word("device_type", identity.deviceType);
    identity.productCode = word("product_code", identity.productCode);
    identity.serial =
        static_cast<std::uint32_t>(entries.integer("serial", 0, 0xFFFFFFFF, identity.serial));
    readRevision(entries, place, identity);
    program.trueByte = static_cast<std::uint8_t>(entries.integer("bool_true", 1, 255, 1));
    entries.refuseOthers();
}

std::string lowered(std::string name)
{
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return name;
}

void readTags(const toml::node& node, const Place& place, std::vector<TagDefinition>& tags)
{
    const toml::array* list = node.as_array();
    if (!list || !list->is_array_of_tables())
        place.fail(node, "tags are written as [[tag]] tables");
    std::set<std::string> names;
    for (const toml::node& element : *list) {
        tags.push_back(TagReader(*element.as_table(), place).read());
        if (!names.insert(lowered(tags.back().name)).second)
            place.fail(element,
                       "tag \"" + tags.back().name +
                           "\": there is a tag of that name already (case does not count)");
    }
}

} // namespace

Program parseTagFile(std::string_view text, const std::string& path)
{
    const Place place(path);
    toml::table document;
    try {
        document = toml::parse(text, path);
    } catch (const toml::parse_error& error) {
        throw TagFileError(path + ":" + std::to_string(error.source().begin.line) + ": " +
                           std::string(error.description()));
    }
    Program program;
    Entries entries(document, place);
    if (const toml::node* controller = entries.get("controller")) {
        if (!controller->is_table())
            place.fail(*controller, "the controller is written as a [controller] table");
        readController(*controller->as_table(), place, program);
    }
    if (const toml::node* tags = entries.get("tag"))
        readTags(*tags, place, program.tags);
    entries.refuseOthers();
    if (program.tags.empty())
        throw TagFileError(path + ": no [[tag]] in it");
    return program;
}

Program loadTagFile(const std::string& path)
{
    if (std::filesystem::is_directory(path))
        throw TagFileError(path + ": is a directory");
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    if (!file || file.tellg() < 0)
        throw TagFileError(path + ": cannot be read");
    if (file.tellg() > kLongestFile)
        throw TagFileError(path + ": too large for a tag file");
    file.seekg(0);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    return parseTagFile(text, path);
}

} // namespace plcsim
