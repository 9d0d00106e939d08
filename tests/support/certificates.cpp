#include "support/certificates.h"

#include <stdexcept>
#include <vector>

#include "support/run.h"

namespace support {

namespace {

void openssl(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "openssl");
    const Outcome outcome = run(arguments);
    if (outcome.exitStatus != 0) throw std::runtime_error("openssl " + arguments[1] + ": " + outcome.err);
}

// Makes a key, and with it a request for a certificate, or what `more` asks for, in `file`.
void request(const Certificate& certificate, const std::string& file, const std::string& hosts,
             const std::vector<std::string>& more) {
    std::vector<std::string> arguments = {"req",
                                          "-newkey",
                                          "ec",
                                          "-pkeyopt",
                                          "ec_paramgen_curve:P-256",
                                          "-nodes",
                                          "-keyout",
                                          certificate.keyFile,
                                          "-out",
                                          file,
                                          "-subj",
                                          "/CN=nec test",
                                          "-addext",
                                          "subjectAltName=" + hosts};
    arguments.insert(arguments.end(), more.begin(), more.end());
    openssl(arguments);
}

}  // namespace

Certificates::Certificates() : authority_(makeSelfSigned("authority", "DNS:authority.example")) {}

Certificate Certificates::makeSelfSigned(const std::string& name, const std::string& hosts) const {
    Certificate made{folder_.file(name + ".pem"), folder_.file(name + ".key")};
    request(made, made.file, hosts, {"-x509", "-days", "1"});
    return made;
}

Certificate Certificates::signedFor(const std::string& name, const std::string& hosts, const std::string& days) const {
    Certificate made{folder_.file(name + ".pem"), folder_.file(name + ".key")};
    const std::string requestFile = folder_.file(name + ".csr");
    request(made, requestFile, hosts, {"-new"});
    openssl({"x509", "-req", "-in", requestFile, "-CA", authority_.file, "-CAkey", authority_.keyFile,
             "-copy_extensions", "copy", "-days", days, "-out", made.file});
    return made;
}

}  // namespace support
