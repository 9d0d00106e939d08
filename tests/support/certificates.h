// Certificates as servers of tests show them, made by OpenSSL's command line.
#pragma once

#include <string>

#include "support/folder.h"

namespace support {

// PEM files.
struct Certificate {
    std::string file;
    std::string keyFile;
};

// An authority, and what it signs. All files go when it goes.
class Certificates {
public:
    Certificates();

    // The file of the authority, for those who trust it.
    const std::string& authorityFile() const { return authority_.file; }

    Certificate good() const { return signedFor("good", localNames, "1"); }  // for 127.0.0.1 and localhost
    Certificate expired() const { return signedFor("expired", localNames, "-1"); }
    Certificate ofAnotherHost() const { return signedFor("other", "DNS:other.example", "1"); }
    Certificate selfSigned() const { return makeSelfSigned("self", localNames); }

private:
    static constexpr const char* localNames = "DNS:localhost,IP:127.0.0.1";

    Certificate makeSelfSigned(const std::string& name, const std::string& hosts) const;
    Certificate signedFor(const std::string& name, const std::string& hosts, const std::string& days) const;

    Folder folder_;
    Certificate authority_;
};

}  // namespace support
