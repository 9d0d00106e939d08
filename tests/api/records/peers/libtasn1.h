// The codec that libtasn1 makes from records.asn1, beside our record types.
#pragma once

#include <libtasn1.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "nec/records.h"

namespace libtasn1 {

// What one of our records holds, as libtasn1 names and writes it.
struct Leaf {
    std::string path;                   // "devIDList.?2"
    std::optional<std::string> octets;  // contents octets; empty for an absent optional field
};

struct Flat {
    std::vector<Leaf> leaves;
    struct List {
        std::string path;
        int count;
    };
    std::vector<List> lists;  // outer lists first
};

Flat flatten(const asn_frame::AsnFrameProcID& record);
Flat flatten(const asn_frame::AsnDevIDList& record);
Flat flatten(const asn_frame::AsnOctsList& record);
Flat flatten(const asn_frame::AsnDevIDListOfNEMgr& record);
Flat flatten(const asn_frame::AsnFrameNodeIP& record);
Flat flatten(const asn_frame::AsnFrameNodeIPList& record);
Flat flatten(const asn_frame::AsnFrameGetNodeIPResponse& record);
Flat flatten(const AsnPnpFile& record);
Flat flatten(const AsnPnpFileList& record);
Flat flatten(const AsnClientGetPnpRsp& record);

// One value of a type of records.asn1. What goes wrong throws std::runtime_error, except refused octets.
class Value {
public:
    explicit Value(const char* typeName);
    ~Value();
    Value(const Value&) = delete;
    Value& operator=(const Value&) = delete;

    // False when libtasn1 refuses the octets.
    bool decode(std::string_view octets);
    std::string encode() const;
    // Sets all that `flat` holds, in a value that was just made.
    void set(const Flat& flat);
    // Whether it holds just that.
    bool holds(const Flat& flat) const;

private:
    std::optional<std::string> read(const std::string& path) const;

    asn1_node value_ = nullptr;
};

}  // namespace libtasn1
