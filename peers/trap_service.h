// A stand-in of the trap-server service: keeps which trap server serves which NE.
#pragma once

#include "assignment_store.h"
#include "http_server.h"

namespace peers {

class TrapService {
public:
    static constexpr const char* registPath = "/dam/v1/netrapserver/action/regist";
    static constexpr const char* deletePath = "/dam/v1/netrapserver/action/delete";
    static constexpr const char* listPath = "/dam/v1/netrapserver";

    // `file`: see AssignmentStore.
    explicit TrapService(const std::string& file) : store_(file) {}

    // Answers on `server`, which must not outlive this.
    void serve(HttpServer& server);

private:
    HttpAnswer regist(const std::string& body);
    HttpAnswer erase(const std::string& body);
    HttpAnswer list();

    AssignmentStore store_;
};

}  // namespace peers
