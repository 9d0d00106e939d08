// String coders, beside bare loops over one string: how they grow with the text, and what they add.
#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "bench.h"
#include "trapserver/string_coder.h"

namespace {

// Fields as the trap dispatcher is sent: addresses and numbers by turns.
std::vector<std::string> fieldsOf(std::size_t count) {
    std::mt19937 random(1);
    const auto octet = [&] { return std::to_string(random() % 256); };
    std::vector<std::string> fields;
    while (fields.size() < count) {
        fields.push_back(octet() + '.' + octet() + '.' + octet() + '.' + octet());
        if (fields.size() < count) fields.push_back(std::to_string(random() % 100));
    }
    return fields;
}

void encode(const std::vector<std::string>& fields) {
    NEC::CCommaEncoder encoder;
    for (const std::string& field : fields) encoder << field;
    bench::keep(encoder);
}

std::string joined(const std::vector<std::string>& fields) {
    std::size_t size = 0;
    for (const std::string& field : fields) size += field.size() + 1;
    std::string text;
    text.reserve(size);
    for (const std::string& field : fields) {
        if (!text.empty()) text += ',';
        text += field;
    }
    return text;
}

void decode(const std::string& text, std::size_t count) {
    NEC::CCommaDecoder decoder(text);
    std::string field;
    for (; count > 0; --count) {
        decoder >> field;
        bench::keep(field);
    }
}

void decodeBare(const std::string& text) {
    const std::string copy(text);  // NOLINT(performance-unnecessary-copy-initialization): the decoder has one too
    std::string field;
    for (std::size_t begin = 0; begin < copy.size();) {
        const std::size_t end = std::min(copy.find(',', begin), copy.size());
        field.assign(copy, begin, end - begin);
        bench::keep(field);
        begin = end + 1;
    }
}

bench::Figures encoding(const bench::Run& run, std::size_t count) {
    const std::vector<std::string> fields = fieldsOf(count);
    return bench::alternate(
        run, bench::Clock::cpu, static_cast<double>(count), [&] { encode(fields); },
        [&] { bench::keep(joined(fields)); });
}

bench::Figures decoding(const bench::Run& run, std::size_t count) {
    const std::string text = joined(fieldsOf(count));
    return bench::alternate(
        run, bench::Clock::cpu, static_cast<double>(count), [&] { decode(text, count); }, [&] { decodeBare(text); });
}

// All of `count` fields beside a tenth of them.
bench::Figures encodingGrows(const bench::Run& run, std::size_t count) {
    const std::vector<std::string> fields = fieldsOf(count);
    const std::vector<std::string> tenth = fieldsOf(count / 10);
    return bench::alternate(
        run, bench::Clock::cpu, 1, [&] { encode(fields); }, [&] { encode(tenth); });
}

bench::Figures decodingGrows(const bench::Run& run, std::size_t count) {
    const std::string text = joined(fieldsOf(count));
    const std::string tenth = joined(fieldsOf(count / 10));
    return bench::alternate(
        run, bench::Clock::cpu, 1, [&] { decode(text, count); }, [&] { decode(tenth, count / 10); });
}

using Measure = bench::Figures (*)(const bench::Run&, std::size_t);

struct Size {
    std::size_t fields;
    const char* name;
};

bool addRows(const char* what, const char* bare, Measure measure, Measure grows) {
    for (const Size size :
         {Size{1'000, "1,000"}, Size{10'000, "10,000"}, Size{100'000, "100,000"}, Size{1'000'000, "1,000,000"}}) {
        const std::string name = std::string(what) + ", " + size.name + " fields";
        const auto over = [fields = size.fields](Measure row) {
            return [row, fields](const bench::Run& run) { return row(run, fields); };
        };
        bench::add({name + ": a field, ns; peer: " + bare, bench::timesFaster(0.5), over(measure)});
        if (size.fields > 1'000)
            bench::add({name + ": all, ns; peer: a tenth of them", bench::atMost(12), over(grows)});
    }
    return true;
}

const bool registered = addRows("comma encoder", "append to one reserved string", encoding, encodingGrows) &&
                        addRows("comma decoder", "find and assign with a cursor", decoding, decodingGrows);

}  // namespace
