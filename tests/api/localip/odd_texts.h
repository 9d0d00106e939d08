// Texts that are nearly addresses, for tests that compare two readers of addresses.
#pragma once

#include <random>
#include <string>
#include <vector>

namespace odd {

inline const std::vector<std::string>& texts() {
    using namespace std::string_literals;
    static const std::vector<std::string> all{"",
                                              ".",
                                              "..",
                                              "...",
                                              "1",
                                              "1.2",
                                              "1.2.3",
                                              "1.2.3.4",
                                              "1.2.3.4.5",
                                              "1.2.3.4.",
                                              ".1.2.3",
                                              "1..2.3",
                                              "1.2..3",
                                              "0.0.0.0",
                                              "255.255.255.255",
                                              "256.1.1.1",
                                              "1.256.1.1",
                                              "1.1.1.256",
                                              "1.1.1.999",
                                              "1.1.1.1000",
                                              "0x10.1",
                                              "0x10.1.1.1",
                                              "1.1.1.0x",
                                              "010.1.1.1",
                                              "08.1.1.1",
                                              "00.0.0.0",
                                              "1.1.1.00",
                                              "1.1.1.01",
                                              "1.2.3.4 x",
                                              "1.2.3.4 ",
                                              "1.2.3.4\t",
                                              "1.2.3.4\n",
                                              "1.2.3.4x",
                                              " 1.2.3.4",
                                              "\t1.2.3.4",
                                              "1. 2.3.4",
                                              "1 .2.3.4",
                                              "-1.2.3.4",
                                              "+1.2.3.4",
                                              "1.-2.3.4",
                                              "1.+2.3.4",
                                              "--1.2.3.4",
                                              "1.2.3.4\0"s,
                                              "1.2.3.4\0.5"s,
                                              "1\0.2.3.4"s,
                                              "1.\0"
                                              "2.3.4"s,
                                              "\0"s,
                                              "4294967295",
                                              "4294967296",
                                              "1.16777215",
                                              "1.16777216",
                                              "1.2.65535",
                                              "1.2.65536",
                                              "999999999.1.1.1",
                                              "2147483647.1.1.1",
                                              "2147483648.1.1.1",
                                              "-2147483648.1.1.1",
                                              "-2147483649.1.1.1",
                                              "1.1.1.2147483648",
                                              "0000000000000000001.1.1.1",
                                              "99999999999999999999.1.1.1",
                                              "x",
                                              "1.x.1.1",
                                              "a.b.c.d",
                                              "1,2,3,4",
                                              "1.2.3/24",
                                              "24",
                                              "255..0.0",
                                              "10..2.3",
                                              "\xB1.2.3.4",
                                              "1.2.3.\xFF",
                                              "1/.2.3.4",
                                              "1.2.3.:",
                                              "123.123.123.123",
                                              "123.123.123.1234",
                                              "192.168.1.5",
                                              "255.255.255.0",
                                              "255.255.0.0",
                                              "10.1.0.256"};
    return all;
}

// The same text for the same state of `random`: a dotted quad, often with an octet changed, put in or left out.
inline std::string make(std::mt19937& random) {
    const auto below = [&random](unsigned bound) { return static_cast<unsigned>(random() % bound); };
    std::string text;
    const unsigned fields = below(8) == 0 ? below(6) : 4;
    for (unsigned field = 0; field < fields; ++field) {
        if (field != 0) text += '.';
        text += std::to_string(below(16) == 0 ? random() : below(300));
    }
    static const std::string likely("0123456789.x+- \t\n\0\xFF", 19);
    for (unsigned changes = below(3); changes != 0; --changes) {
        const std::size_t place = below(static_cast<unsigned>(text.size() + 1));
        if (below(2) == 0) {
            text.insert(place, 1, likely[below(19)]);
        } else {
            text.replace(place, below(2), below(2), likely[below(19)]);
        }
    }
    return text;
}

}  // namespace odd
