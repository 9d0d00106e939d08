// A straight hand-written codec of the three large records, into vectors: no reflection, no virtual calls, no object
// for each element. What is possible at best, beside what the library does.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace handwritten {

struct ProcId {
    std::int32_t type = 0;
    std::int32_t handle = 0;
};

struct NeEvent {
    ProcId source;
    std::vector<std::int32_t> ids;
    std::int32_t ownerType = 0;
    std::optional<std::int32_t> state;
    std::optional<ProcId> sink;
    std::optional<std::string> server;
};

struct Node {
    std::string nms;
    std::optional<std::string> nat;
};

struct NodeResponse {
    std::int32_t result = 0;
    std::vector<Node> nodes;
};

struct File {
    std::string name;
    std::int32_t length = 0;
    std::optional<std::string> content;
};

struct PnpResponse {
    std::int32_t result = 0;
    std::int32_t packages = 0;
    std::vector<File> files;
};

// Writes back to front into memory that is large enough.
class Writer {
public:
    explicit Writer(std::size_t capacity) : memory_(new unsigned char[capacity]), cursor_(memory_.get() + capacity) {
        end_ = cursor_;
    }
    std::string_view view() const { return {reinterpret_cast<const char*>(cursor_), size()}; }
    std::size_t size() const { return static_cast<std::size_t>(end_ - cursor_); }

    void integer(unsigned char tag, std::int32_t value) {
        const std::size_t before = size();
        do {
            *--cursor_ = static_cast<unsigned char>(value);
            const bool negative = (value & 0x80) != 0;
            value >>= 8;
            if (value == (negative ? -1 : 0)) break;
        } while (true);
        header(tag, before);
    }
    void octets(unsigned char tag, const std::string& value) {
        const std::size_t before = size();
        cursor_ -= value.size();
        std::memcpy(cursor_, value.data(), value.size());
        header(tag, before);
    }
    // Puts `tag` and the length before what was written since the size was `before`.
    void header(unsigned char tag, std::size_t before) {
        std::size_t length = size() - before;
        if (length < 0x80) {
            *--cursor_ = static_cast<unsigned char>(length);
        } else {
            unsigned char lengthOctets = 0x80;
            for (; length != 0; length >>= 8, ++lengthOctets) *--cursor_ = static_cast<unsigned char>(length);
            *--cursor_ = lengthOctets;
        }
        *--cursor_ = tag;
    }

private:
    std::unique_ptr<unsigned char[]> memory_;
    unsigned char* cursor_;
    unsigned char* end_;
};

// Reads definite lengths; throws std::runtime_error at what is not as expected.
class Reader {
public:
    explicit Reader(std::string_view octets)
        : cursor_(reinterpret_cast<const unsigned char*>(octets.data())), end_(cursor_ + octets.size()) {}

    bool atEnd() const { return cursor_ == end_; }
    bool next(unsigned char tag) const { return cursor_ != end_ && *cursor_ == tag; }

    // The contents of the value that comes next, which must have `tag`.
    Reader contents(unsigned char tag) {
        if (end_ - cursor_ < 2 || *cursor_ != tag) throw std::runtime_error("tag");
        ++cursor_;
        std::size_t length = *cursor_++;
        if (length >= 0x80) length = longLength(length & 0x7F);
        if (length > left()) throw std::runtime_error("length");
        const unsigned char* begin = cursor_;
        cursor_ += length;
        return {begin, cursor_};
    }
    std::int32_t integer(unsigned char tag) {
        const Reader octets = contents(tag);
        if (octets.left() - 1 > 3) throw std::runtime_error("integer");
        auto value = static_cast<std::int32_t>(static_cast<signed char>(*octets.cursor_));
        for (const unsigned char* octet = octets.cursor_ + 1; octet != octets.end_; ++octet) {
            value = static_cast<std::int32_t>(static_cast<std::uint32_t>(value) << 8 | *octet);
        }
        return value;
    }
    std::string octets(unsigned char tag) {
        const Reader found = contents(tag);
        return {reinterpret_cast<const char*>(found.cursor_), found.left()};
    }
    void finish() const {
        if (!atEnd()) throw std::runtime_error("trailing octets");
    }

private:
    Reader(const unsigned char* begin, const unsigned char* end) : cursor_(begin), end_(end) {}
    std::size_t left() const { return static_cast<std::size_t>(end_ - cursor_); }
    std::size_t longLength(std::size_t octets) {
        if (octets == 0 || octets > 4 || octets > left()) throw std::runtime_error("length");
        std::size_t length = 0;
        for (; octets != 0; --octets) length = length << 8 | *cursor_++;
        return length;
    }

    const unsigned char* cursor_;
    const unsigned char* end_;
};

inline void write(Writer& writer, unsigned char tag, const ProcId& proc) {
    const std::size_t before = writer.size();
    writer.integer(0x02, proc.handle);
    writer.integer(0x02, proc.type);
    writer.header(tag, before);
}

inline Writer encode(const NeEvent& event) {
    Writer writer(64 + 6 * event.ids.size() + (event.server ? event.server->size() : 0));
    if (event.server) writer.octets(0x82, *event.server);
    if (event.sink) write(writer, 0xA1, *event.sink);
    if (event.state) writer.integer(0x80, *event.state);
    writer.integer(0x02, event.ownerType);
    const std::size_t before = writer.size();
    for (auto id = event.ids.rbegin(); id != event.ids.rend(); ++id) writer.integer(0x02, *id);
    writer.header(0x30, before);
    write(writer, 0x30, event.source);
    writer.header(0x30, 0);
    return writer;
}

inline ProcId readProcId(Reader reader) {
    ProcId proc;
    proc.type = reader.integer(0x02);
    proc.handle = reader.integer(0x02);
    reader.finish();
    return proc;
}

inline NeEvent decodeNeEvent(std::string_view octets) {
    NeEvent event;
    Reader reader = Reader(octets).contents(0x30);
    event.source = readProcId(reader.contents(0x30));
    Reader ids = reader.contents(0x30);
    while (!ids.atEnd()) event.ids.push_back(ids.integer(0x02));
    event.ownerType = reader.integer(0x02);
    if (reader.next(0x80)) event.state = reader.integer(0x80);
    if (reader.next(0xA1)) event.sink = readProcId(reader.contents(0xA1));
    if (reader.next(0x82)) event.server = reader.octets(0x82);
    reader.finish();
    return event;
}

inline Writer encode(const NodeResponse& response) {
    std::size_t capacity = 64;
    for (const Node& node : response.nodes) capacity += 24 + node.nms.size() + (node.nat ? node.nat->size() : 0);
    Writer writer(capacity);
    for (auto node = response.nodes.rbegin(); node != response.nodes.rend(); ++node) {
        const std::size_t before = writer.size();
        if (node->nat) writer.octets(0x80, *node->nat);
        writer.octets(0x04, node->nms);
        writer.header(0x30, before);
    }
    writer.header(0x30, 0);
    writer.integer(0x02, response.result);
    writer.header(0x30, 0);
    return writer;
}

inline NodeResponse decodeNodeResponse(std::string_view octets) {
    NodeResponse response;
    Reader reader = Reader(octets).contents(0x30);
    response.result = reader.integer(0x02);
    Reader nodes = reader.contents(0x30);
    while (!nodes.atEnd()) {
        Reader fields = nodes.contents(0x30);
        Node& node = response.nodes.emplace_back();
        node.nms = fields.octets(0x04);
        if (fields.next(0x80)) node.nat = fields.octets(0x80);
        fields.finish();
    }
    reader.finish();
    return response;
}

inline Writer encode(const PnpResponse& response) {
    std::size_t capacity = 64;
    for (const File& file : response.files) {
        capacity += 32 + file.name.size() + (file.content ? file.content->size() : 0);
    }
    Writer writer(capacity);
    for (auto file = response.files.rbegin(); file != response.files.rend(); ++file) {
        const std::size_t before = writer.size();
        if (file->content) writer.octets(0x80, *file->content);
        writer.integer(0x02, file->length);
        writer.octets(0x04, file->name);
        writer.header(0x30, before);
    }
    writer.header(0x30, 0);
    writer.integer(0x02, response.packages);
    writer.integer(0x02, response.result);
    writer.header(0x30, 0);
    return writer;
}

inline PnpResponse decodePnpResponse(std::string_view octets) {
    PnpResponse response;
    Reader reader = Reader(octets).contents(0x30);
    response.result = reader.integer(0x02);
    response.packages = reader.integer(0x02);
    Reader files = reader.contents(0x30);
    while (!files.atEnd()) {
        Reader fields = files.contents(0x30);
        File& file = response.files.emplace_back();
        file.name = fields.octets(0x04);
        file.length = fields.integer(0x02);
        if (fields.next(0x80)) file.content = fields.octets(0x80);
        fields.finish();
    }
    reader.finish();
    return response;
}

}  // namespace handwritten
