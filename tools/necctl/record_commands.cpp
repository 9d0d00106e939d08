// necctl record: decoding and encoding records.
#include <CLI/CLI.hpp>
#include <iostream>

#include "commands.h"
#include "failure.h"
#include "hex.h"
#include "input.h"
#include "platform/payload.h"
#include "record_decoding.h"
#include "record_json.h"
#include "record_types.h"

namespace necctl {
namespace {

struct Arguments {
    std::string type;
    std::string file = "-";
    bool hex = false;
};

Decoded decoded(const std::string& octets, const std::string& type, const Options& options) {
    Decoded result = type.empty() ? decodeAsAny(octets) : decodeAs(recordType(type), octets);
    if (!result.record) throw Failure(wrongData, result.error);
    if (type.empty()) options.say("fits " + result.fitting);
    return result;
}

void decode(const Arguments& arguments, const Options& options) {
    std::string octets = readInput(arguments.file);
    if (isText(octets)) octets = octetsFromHex(octets);
    const Decoded result = decoded(octets, arguments.type, options);
    if (options.json) {
        writeJson(std::cout, *result.record);
    } else {
        std::cout << result.type << ' ';
        result.record->Print(std::cout, 0, true);
    }
    std::cout << '\n';
}

void encode(const Arguments& arguments) {
    const auto record = recordType(arguments.type).make();
    readJson(readInput(arguments.file), *record);
    const frame::Payload payload = frame::encode(*record);
    if (arguments.hex) {
        std::cout << hexOf(payload.view()) << '\n';
    } else {
        std::cout << payload.view();
    }
}

CLI::Option* addType(CLI::App& command, Arguments& arguments) {
    return command.add_option("--type", arguments.type, "Type of the record")
        ->type_name("NAME")
        ->check(CLI::IsMember(recordTypeNames()));
}

}  // namespace

void addRecordCommands(CLI::App& app, const Options& options) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* group = app.add_subcommand("record", "Records as they travel between processes")->require_subcommand(1);

    CLI::App* decoding = group->add_subcommand("decode", "Write an encoded record for people, or as JSON with --json");
    addType(*decoding, *arguments)->description("Type of the record; without it, the type that fits is found");
    decoding->add_option("FILE", arguments->file, "Encoded record, binary or as hexadecimal text; - is standard input")
        ->required();
    decoding->callback([arguments, &options] { decode(*arguments, options); });

    CLI::App* encoding = group->add_subcommand("encode", "Encode a record from JSON as record decode --json writes it");
    addType(*encoding, *arguments)->required();
    encoding->add_flag("--hex", arguments->hex, "Write hexadecimal text instead of binary");
    encoding->add_option("FILE", arguments->file, "JSON; - and none is standard input");
    encoding->callback([arguments] { encode(*arguments); });
}

}  // namespace necctl
