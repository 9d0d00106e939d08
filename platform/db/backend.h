// The databases that there are.
#pragma once

#include <memory>
#include <string>

#include "db/soci.h"

namespace frame {

// One database, not connected to. From any thread.
class Backend {
public:
    virtual ~Backend() = default;

    // What errors call it: without a password.
    virtual std::string name() const = 0;
    // A fresh connection. Throws what derives from std::exception, without a password in its text.
    virtual std::unique_ptr<soci::session> connect() const = 0;
    // Whether a connection that was used before still is one.
    virtual bool works(soci::session& session) const noexcept = 0;
    // Whether a transaction is open, or the connection cannot tell.
    virtual bool inTransaction(soci::session& session) const = 0;
};

std::unique_ptr<Backend> makeSqlite(const std::string& file);
// `parameters`: keywords and values, or a URI.
std::unique_ptr<Backend> makePostgres(const std::string& parameters);

}  // namespace frame
