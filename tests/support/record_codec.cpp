#include "support/record_codec.h"

#include <memory>

namespace support {

namespace {

// Takes the identifier of a list and its length.
AsnLen listLength(AsnBuf& buf) {
    if (buf.PeekByte() != 0x30) throw new CSM_Exception(-54, __LINE__, __func__, __FILE__, "no identifier of a list");
    buf.GetByte();
    AsnLen counted = 0;
    const unsigned char first = buf.GetByte();
    return first < 0x80 ? first : BDecLen_Impl(buf, first, counted);
}

template <class T>
frame::DecodeResult decodeList(std::string_view octets, AsnSeqOf<T>& into, AsnTag elementTag) {
    AsnBuf buf(octets);
    frame::DecodeResult result;
    try {
        AsnLen counted = 0;
        const AsnLen length = listLength(buf);
        into.BDecContent(buf, elementTag, length, counted, 1);
        result.ok = !buf.readError() && buf.exhausted();
        if (!result.ok) result.text = "octets end too early, or stand behind the end of the list";
    } catch (const CSM_Exception* error) {
        const std::unique_ptr<const CSM_Exception> owner(error);
        result.code = error->code();
        result.text = error->text();
    }
    result.offset = buf.offset();
    return result;
}

}  // namespace

frame::DecodeResult decode(std::string_view octets, asn_frame::AsnDevIDList& into) {
    return decodeList<AsnInt>(octets, into, 0x02);
}

frame::DecodeResult decode(std::string_view octets, asn_frame::AsnOctsList& into) {
    return decodeList<AsnOcts>(octets, into, 0x04);
}

}  // namespace support
