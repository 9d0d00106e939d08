#include "management_centre.h"

#include "address_table.h"
#include "json_answer.h"
#include "nec/records.h"
#include "platform/asn1.h"
#include "platform/log.h"

namespace peers {
namespace {

constexpr std::uint32_t wrongTable = 0xFFFFFFFF;

// A list of texts that is a message of its own, not a record's field: elements keep their own identifier, which a list
// that decodes itself does not expect.
class AddressList : public asn_frame::AsnOctsList {
public:
    void BDec(AsnBuf& buf, AsnLen& taken, int format) override {
        constexpr unsigned char listTag = 0x30;
        constexpr AsnTag octetString = 0x04;
        if (buf.GetByte() != listTag) throw new CSM_Exception(-1, __LINE__, __func__, __FILE__, "no list");
        const unsigned char lengthOctet = buf.GetByte();
        taken += 2;
        const AsnLen length = lengthOctet < 0x80 ? lengthOctet : BDecLen_Impl(buf, lengthOctet, taken);
        BDecContent(buf, octetString, length, taken, format);
    }
};

void logError(const TableError& error) {
    LogProcess::Error(wrongTable, error.what(), {__FILE__, __func__, __LINE__});
}

Json::Value jsonOf(const AddressTable& table) {
    Json::Value list(Json::arrayValue);
    for (const NEC::NatInfo& row : table) {
        Json::Value entry;
        entry["beginNEIP"] = row.beginIP;
        entry["endNEIP"] = row.endIP;
        entry["nmsip"] = row.nmsIP;
        entry["natip"] = row.natIP;
        list.append(std::move(entry));
    }
    return list;
}

}  // namespace

frame::Subscription ManagementCentre::serve(frame::BusEngine& bus) const {
    return bus.serveRequests(addressRequest,
                             [this](const frame::RequestMessage& request) -> std::optional<frame::Payload> {
                                 AddressList addresses;
                                 if (!request.decode(addresses) || addresses.count != 1) return std::nullopt;
                                 return answer(std::string(addresses.first->element->view()));
                             });
}

frame::Payload ManagementCentre::answer(const std::string& neAddress) const {
    asn_frame::AsnFrameGetNodeIPResponse response;
    try {
        if (const auto table = readAddressTable(tableFile_))
            NEC::GetOneLocalIpRspFromIpTable(*table, neAddress, response);
        else
            response.result = tableMissing;
    } catch (const TableError& error) {
        logError(error);
        response.result = tableWrong;
    }
    return frame::encode(response);
}

void ManagementCentre::serve(HttpServer& server) const {
    server.get(natListPath, [this] { return natList(); });
}

HttpAnswer ManagementCentre::natList() const {
    try {
        Json::Value body(Json::objectValue);
        body["NatInfoList"] = jsonOf(readAddressTable(tableFile_).value_or(AddressTable{}));
        return jsonAnswer(200, body);
    } catch (const TableError& error) {
        logError(error);
        return errorAnswer(500, error.what());
    }
}

}  // namespace peers
