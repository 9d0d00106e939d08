// A PostgreSQL server for tests: its own data, and a Unix socket in a folder of its own; no TCP.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "support/folder.h"
#include "support/run.h"

namespace support {

// A server that is up from the end of the constructor on. It never runs as root: there it runs as the user that its
// package made. It ends with the object, and with the thread that started it.
class Postgres {
public:
    Postgres();
    ~Postgres();
    Postgres(const Postgres&) = delete;
    Postgres& operator=(const Postgres&) = delete;

    static constexpr const char* password = "it's a s3cret\\";
    // What frame::DatabaseOptions takes. There are two forms.
    std::string url() const { return urlWith("'it\\'s a s3cret\\\\'"); }
    std::string urlWith(const std::string& quotedPassword) const;
    std::string uri() const;

    // Ends all its connections.
    void stop();
    void start();

private:
    // The command line that runs `argv` in the folder, as the user that the server is, both outputs joined.
    std::vector<std::string> asServer(const std::vector<std::string>& argv) const;

    Folder folder_;
    std::string path_;
    std::optional<Child> server_;
};

}  // namespace support
