#include "api/records/peers/libtasn1.h"

#include <stdexcept>

extern "C" const asn1_static_node necRecordsTable[];

namespace libtasn1 {

namespace {

void check(int code, const std::string& what) {
    if (code != ASN1_SUCCESS) throw std::runtime_error("libtasn1: " + what + ": " + asn1_strerror(code));
}

asn1_node definitions() {
    static const asn1_node tree = [] {
        asn1_node made = nullptr;
        check(asn1_array2tree(necRecordsTable, &made, nullptr), "definitions");
        return made;
    }();
    return tree;
}

// Two's complement in the fewest octets.
std::string contents(std::int32_t value) {
    std::string octets;
    for (int shift = 24; shift >= 0; shift -= 8) octets.push_back(static_cast<char>(value >> shift));
    while (octets.size() > 1 && (octets[0] == 0 || octets[0] == -1) && ((octets[0] ^ octets[1]) & 0x80) == 0) {
        octets.erase(0, 1);
    }
    return octets;
}

std::string join(const std::string& path, const std::string& name) {
    return path.empty() ? name : path + "." + name;
}

class Flattener {
public:
    Flat flat;

    void add(const std::string& path, const AsnInt& value) { flat.leaves.push_back({path, contents(value)}); }
    void add(const std::string& path, const AsnOcts& value) { flat.leaves.push_back({path, value.str()}); }
    template <class T>
    void add(const std::string& path, const AsnList<T>& list) {
        flat.lists.push_back({path, static_cast<int>(list.count)});
        int number = 0;
        for (const auto* node = list.first; node != nullptr; node = node->next) {
            add(join(path, std::string("?").append(std::to_string(++number))), *node->element);
        }
    }
    void add(const std::string& path, const asn_frame::AsnFrameProcID& record) {
        add(join(path, "procType"), record.procType);
        add(join(path, "procHandle"), record.procHandle);
    }
    void add(const std::string& path, const asn_frame::AsnDevIDListOfNEMgr& record) {
        add(join(path, "srcProcID"), *record.srcProcID);
        add(join(path, "devIDList"), record.devIDList);
        add(join(path, "ownerType"), record.ownerType);
        addOptional<AsnInt>(join(path, "procState"), record.procState);
        addOptional(join(path, "snkProcID"), static_cast<const asn_frame::AsnFrameProcID*>(record.snkProcID));
        addOptional<AsnOcts>(join(path, "server"), record.server);
    }
    void add(const std::string& path, const asn_frame::AsnFrameNodeIP& record) {
        add(join(path, "nmsIP"), record.nmsIP);
        addOptional<AsnOcts>(join(path, "natIP"), record.natIP);
    }
    void add(const std::string& path, const asn_frame::AsnFrameGetNodeIPResponse& record) {
        add(join(path, "result"), record.result);
        add(join(path, "nodeIPList"), record.nodeIPList);
    }
    void add(const std::string& path, const AsnPnpFile& record) {
        add(join(path, "fileName"), record.fileName);
        add(join(path, "fileLen"), record.fileLen);
        addOptional<AsnOcts>(join(path, "fileContent"), record.fileContent);
    }
    void add(const std::string& path, const AsnClientGetPnpRsp& record) {
        add(join(path, "iResult"), record.iResult);
        add(join(path, "packageSum"), record.packageSum);
        add(join(path, "pnpFileList"), record.pnpFileList);
    }

private:
    template <class T>
    void addOptional(const std::string& path, const T* value) {
        if (value == nullptr) {
            flat.leaves.push_back({path, std::nullopt});
        } else {
            add(path, *value);
        }
    }
};

template <class T>
Flat flattened(const T& record) {
    Flattener flattener;
    flattener.add("", record);
    return std::move(flattener.flat);
}

}  // namespace

Flat flatten(const asn_frame::AsnFrameProcID& record) {
    return flattened(record);
}
Flat flatten(const asn_frame::AsnDevIDList& record) {
    return flattened(record);
}
Flat flatten(const asn_frame::AsnOctsList& record) {
    return flattened(record);
}
Flat flatten(const asn_frame::AsnDevIDListOfNEMgr& record) {
    return flattened(record);
}
Flat flatten(const asn_frame::AsnFrameNodeIP& record) {
    return flattened(record);
}
Flat flatten(const asn_frame::AsnFrameNodeIPList& record) {
    return flattened(record);
}
Flat flatten(const asn_frame::AsnFrameGetNodeIPResponse& record) {
    return flattened(record);
}
Flat flatten(const AsnPnpFile& record) {
    return flattened(record);
}
Flat flatten(const AsnPnpFileList& record) {
    return flattened(record);
}
Flat flatten(const AsnClientGetPnpRsp& record) {
    return flattened(record);
}

Value::Value(const char* typeName) {
    check(asn1_create_element(definitions(), (std::string("NEC-Records.") + typeName).c_str(), &value_), typeName);
}

Value::~Value() {
    asn1_delete_structure(&value_);
}

bool Value::decode(std::string_view octets) {
    return asn1_der_decoding(&value_, octets.data(), static_cast<int>(octets.size()), nullptr) == ASN1_SUCCESS;
}

std::string Value::encode() const {
    int size = 0;
    char none = 0;
    if (const int code = asn1_der_coding(value_, "", &none, &size, nullptr); code != ASN1_MEM_ERROR)
        check(code, "size");
    std::string octets(static_cast<std::size_t>(size), '\0');
    check(asn1_der_coding(value_, "", octets.data(), &size, nullptr), "encoding");
    octets.resize(static_cast<std::size_t>(size));
    return octets;
}

void Value::set(const Flat& flat) {
    for (const Flat::List& list : flat.lists) {
        for (int i = 0; i < list.count; ++i) check(asn1_write_value(value_, list.path.c_str(), "NEW", 1), list.path);
    }
    for (const Leaf& leaf : flat.leaves) {
        const char* octets = leaf.octets ? leaf.octets->data() : nullptr;
        const int size = leaf.octets ? static_cast<int>(leaf.octets->size()) : 0;
        check(asn1_write_value(value_, leaf.path.c_str(), octets, size), leaf.path);
    }
}

bool Value::holds(const Flat& flat) const {
    for (const Flat::List& list : flat.lists) {
        int count = -1;
        check(asn1_number_of_elements(value_, list.path.c_str(), &count), list.path);
        if (count != list.count) return false;
    }
    for (const Leaf& leaf : flat.leaves) {
        if (read(leaf.path) != leaf.octets) return false;
    }
    return true;
}

std::optional<std::string> Value::read(const std::string& path) const {
    int size = 0;
    const int code = asn1_read_value(value_, path.c_str(), nullptr, &size);
    if (code == ASN1_ELEMENT_NOT_FOUND) return std::nullopt;
    if (code != ASN1_MEM_ERROR) check(code, path);
    std::string octets(static_cast<std::size_t>(size), '\0');
    check(asn1_read_value(value_, path.c_str(), octets.data(), &size), path);
    return octets;
}

}  // namespace libtasn1
