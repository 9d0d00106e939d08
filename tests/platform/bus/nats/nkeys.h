// Keys as NATS servers know them, and tokens (JWT) that are signed with them.
#pragma once

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace natstest {

inline std::string base32(const std::vector<std::uint8_t>& octets) {
    constexpr std::string_view letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";
    std::string text;
    std::uint32_t bits = 0;
    unsigned have = 0;
    for (const std::uint8_t octet : octets) {
        bits = bits << 8U | octet;
        for (have += 8; have >= 5; have -= 5) text += letters[bits >> (have - 5) & 31U];
    }
    if (have > 0) text += letters[bits << (5 - have) & 31U];
    return text;
}

// That of URLs, without padding.
inline std::string base64(std::string_view octets) {
    std::vector<unsigned char> made((octets.size() + 2) / 3 * 4 + 1);
    const int length = EVP_EncodeBlock(made.data(), reinterpret_cast<const unsigned char*>(octets.data()),
                                       static_cast<int>(octets.size()));
    std::string text(made.begin(), made.begin() + length);
    std::replace(text.begin(), text.end(), '+', '-');
    std::replace(text.begin(), text.end(), '/', '_');
    return text.substr(0, text.find('='));
}

// Octets with the sum at their end that all nkeys have (CRC-16, XMODEM).
inline std::string nkeyText(std::vector<std::uint8_t> octets) {
    std::uint32_t sum = 0;
    for (const std::uint8_t octet : octets) {
        sum ^= std::uint32_t{octet} << 8U;
        for (int bit = 0; bit < 8; ++bit) sum = (sum & 0x8000U) != 0 ? sum << 1U ^ 0x11021U : sum << 1U;
    }
    octets.push_back(static_cast<std::uint8_t>(sum & 0xFFU));
    octets.push_back(static_cast<std::uint8_t>(sum >> 8U));
    return base32(octets);
}

class Nkey {
public:
    // What it is the key of.
    enum Kind : std::uint8_t { ofAnAccount = 0, ofAnOperator = 14U << 3U, ofAUser = 20U << 3U };

    // Keys of different numbers are different.
    Nkey(Kind kind, std::uint8_t number)
        : secret_(32, number),
          key_(EVP_PKEY_new_raw_private_key(EVP_PKEY_ED25519, nullptr, secret_.data(), secret_.size()), &EVP_PKEY_free),
          kind_(kind) {}

    std::string publicKey() const {
        std::vector<std::uint8_t> known(33, kind_);
        std::size_t size = 32;
        require(EVP_PKEY_get_raw_public_key(key_.get(), known.data() + 1, &size));
        return nkeyText(known);
    }
    std::string seed() const {
        constexpr std::uint8_t seedPrefix = 18U << 3U;
        std::vector<std::uint8_t> seed = secret_;
        const std::uint32_t kind = kind_;
        seed.insert(seed.begin(), {static_cast<std::uint8_t>(seedPrefix | kind >> 5U),
                                   static_cast<std::uint8_t>((kind & 31U) << 3U)});
        return nkeyText(seed);
    }
    // A token that says this of `subject`: `claims` is the inside of a JSON object.
    std::string token(const std::string& subject, const std::string& claims) const {
        const std::string text = base64(R"({"typ":"JWT","alg":"ed25519-nkey"})") + '.' +
                                 base64(R"({"jti":"1","iat":1,"name":"test","iss":")" + publicKey() + R"(","sub":")" +
                                        subject + "\"," + claims + '}');
        return text + '.' + base64(signatureOf(text));
    }

private:
    static void require(int done) {
        if (done != 1) throw std::runtime_error("OpenSSL does not do it");
    }
    std::string signatureOf(const std::string& text) const {
        const std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> signing(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
        require(EVP_DigestSignInit(signing.get(), nullptr, nullptr, nullptr, key_.get()));
        std::array<unsigned char, 64> signature{};
        std::size_t size = signature.size();
        require(EVP_DigestSign(signing.get(), signature.data(), &size,
                               reinterpret_cast<const unsigned char*>(text.data()), text.size()));
        return {signature.begin(), signature.end()};
    }

    const std::vector<std::uint8_t> secret_;
    const std::unique_ptr<EVP_PKEY, void (*)(EVP_PKEY*)> key_;
    const Kind kind_;
};

}  // namespace natstest
