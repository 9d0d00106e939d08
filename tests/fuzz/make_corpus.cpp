// Writes the corpora of the fuzz targets: for each record type one folder of small files, valid records of every shape
// and malformed ones; and one folder of packages of files, with names and contents of every kind. The same program
// writes the same files.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>
#include <vector>

#include "support/octets.h"
#include "support/random_records.h"
#include "support/record_codec.h"
#include "support/record_types.h"

namespace {

using support::octets;

constexpr std::size_t largestFile = 1000;

class Corpus {
public:
    explicit Corpus(const std::filesystem::path& folder) : folder_(folder) {
        std::filesystem::create_directories(folder_);
    }
    void add(const std::string& name, const std::string& octets) const {
        std::ofstream file(folder_ / name, std::ios::binary);
        file << octets;
        if (!file.flush()) throw std::runtime_error("cannot write " + (folder_ / name).string());
    }

private:
    std::filesystem::path folder_;
};

// The contents of a record or list, without identifier and length.
std::string contentsOf(const std::string& record) {
    const auto first = static_cast<unsigned char>(record[1]);
    return record.substr(first < 0x80 ? 2 : 2 + (first & 0x7F));
}

std::string sequence(const std::string& contents) {
    const std::size_t size = contents.size();
    return std::string{0x30, static_cast<char>(0x82), static_cast<char>(size >> 8), static_cast<char>(size)} + contents;
}

std::string repeated(const std::string& octets, int times) {
    std::string all;
    for (; times != 0; --times) all += octets;
    return all;
}

void addMalformed(const Corpus& corpus, const std::string& record) {
    const std::string contents = contentsOf(record);
    corpus.add("empty", "");
    corpus.add("trailing-octet", record + '\0');
    corpus.add("length-of-four-billion", octets("30 84 FF FF FF FF") + contents);
    corpus.add("length-beyond-end", sequence(contents + "x").substr(0, contents.size() + 4));
    corpus.add("length-with-leading-zeros", octets("30 85 00 00 00") + sequence(contents).substr(2));
    corpus.add("length-reserved", octets("30 FF") + contents);
    corpus.add("indefinite", octets("30 80") + contents + octets("00 00"));
    corpus.add("indefinite-without-end", octets("30 80") + contents);
    corpus.add("end-of-contents-in-definite", sequence(contents + octets("00 00")));
    corpus.add("openings-indefinite", repeated(octets("30 80"), 100));
    corpus.add("openings-definite", repeated(octets("30 84 00 00 00 7F"), 80));
    corpus.add("openings-in-a-record", octets("30 80") + contents + repeated(octets("A1 80"), 70));
    corpus.add("zeros", std::string(64, '\0'));
    corpus.add("list-of-nothing", octets("30 00"));
    for (const char* tail : {"80 01 05", "80 01 05 80 01 05", "82 00 80 01 05", "A0 03 02 01 05", "A1 80 00 00",
                             "83 00", "05 00", "9F 00 01 05", "BF 8F 8F 8F 8F 01 00", "24 06 04 01 61 04 01 62",
                             "04 80 61 00 00", "02 05 01 02 03 04 05", "02 00", "02 04 FF FF FF FE", "02 02 00 01",
                             "30 80 02 01 05 00 00", "30 84 FF FF FF FF", "30 06 02 01 01 02 01"}) {
        std::string name = tail;
        std::erase(name, ' ');
        corpus.add("tail-" + name, sequence(contents + octets(tail)));
        corpus.add("only-" + name, sequence(octets(tail)));
    }
}

template <class T>
void write(const std::filesystem::path& folder) {
    const Corpus corpus(folder / support::recordName<T>);
    corpus.add("default", support::encoded(T()));
    support::RandomRecords random(1);
    std::string middling;
    for (int made = 0; made < 16;) {
        T record;
        random.fill(record);
        const std::string octets = support::encoded(record);
        if (octets.size() > largestFile) continue;
        corpus.add("valid-" + std::to_string(++made), octets);
        if (middling.empty() && octets.size() > 12) middling = octets;
    }
    addMalformed(corpus, middling);
}

template <class... T>
void writeAll(const std::filesystem::path& folder, testing::Types<T...>) {
    (write<T>(folder), ...);
}

AsnPnpFile fileOf(std::string_view name, std::int32_t length, const char* contents) {
    AsnPnpFile file;
    file.fileName = name;
    file.fileLen = length;
    if (contents != nullptr) file.fileContent = new AsnOcts(std::string_view(contents));
    return file;
}

std::string packageOf(const std::vector<AsnPnpFile>& files) {
    AsnClientGetPnpRsp package;
    package.packageSum = 1;
    for (const AsnPnpFile& file : files) package.pnpFileList.Append(file);
    return support::encoded(package);
}

// Names that the target's folder has something under are among them.
std::map<std::string, std::string> pnpNames() {
    return {{"plain", "a.xml"},
            {"folders", "pnp/x/a.xml"},
            {"blanks-and-quotes", "it's \"a\" b/ "},
            {"utf-8", "\xC3\xA4/\xE2\x82\xAC"},
            {"invalid-utf-8", "\xFF/\x9B/\xC2"},
            {"parent", ".."},
            {"beside", "../beside"},
            {"outside", "../outside/file"},
            {"parent-within", "a/../../beside"},
            {"parent-at-end", "a/.."},
            {"own", "./a"},
            {"absolute", "/tmp/a"},
            {"root", "/"},
            {"empty", ""},
            {"empty-part", "a//b"},
            {"slash-at-end", "a/"},
            {"dots", "..a/.../a.."},
            {"backslashes", "..\\..\\beside"},
            {"zero", std::string("a\0/../../beside", 15)},
            {"line-end", "a\nb"},
            {"escape", "a\x1B[2J"},
            {"c1-control", "a\xC2\x9B"},
            {"line-separator", "a\xE2\x80\xA8"},
            {"temporary", ".pnp-0"},
            {"temporary-folder", ".pnp-0/a"},
            {"link", "link"},
            {"through-link", "link/file"},
            {"new-through-link", "link/a/b"},
            {"link-to-a-file", "filelink"},
            {"through-link-to-a-file", "filelink/a"},
            {"hard-link", "hardlink"},
            {"fifo", "fifo"},
            {"through-fifo", "fifo/a"},
            {"part-of-255", std::string(255, 'a')},
            {"part-of-256", std::string(256, 'a')},
            {"octets-4096", repeated("a/", 2047) + "bb"},
            {"octets-4097", repeated("a/", 2048) + "b"}};
}

void writePnpClient(const std::filesystem::path& folder) {
    const Corpus corpus(folder / "pnp_client");
    for (const auto& [what, name] : pnpNames()) {
        corpus.add("file-" + what, packageOf({fileOf(name, 3, "new"), fileOf("other", 3, "new")}));
        if (name.size() < largestFile) corpus.add("name-" + what, name);
    }
    corpus.add("no-files", packageOf({}));
    corpus.add("no-contents", packageOf({fileOf("a", 0, nullptr)}));
    corpus.add("empty-contents", packageOf({fileOf("a", 0, "")}));
    corpus.add("length-wrong", packageOf({fileOf("a", 4, "new"), fileOf("b", -1, "new"), fileOf("c", 0, "new")}));
    corpus.add("placeholder", packageOf({fileOf("a.error", 0, "new"), fileOf("b.error", 3, "new")}));
    corpus.add("twice", packageOf({fileOf("a", 3, "new"), fileOf("a", 5, "later")}));
    corpus.add("below-a-file", packageOf({fileOf("a", 3, "new"), fileOf("a/b", 3, "new")}));
    corpus.add("above-a-file", packageOf({fileOf("a/b", 3, "new"), fileOf("a", 3, "new")}));
    corpus.add("link-in-turn", packageOf({fileOf("hardlink", 3, "new"), fileOf("link/file", 3, "new")}));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    try {
        writeAll(argv[1], support::RecordTypes());
        writePnpClient(argv[1]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "make_corpus: %s\n", error.what());
        return 1;
    }
    return 0;
}
