#include "bus_check.h"
#include "bus_needs.h"

namespace necctl {
namespace {

// Tries all of `subjects`, and says which of them are not as they are to be; or in one line that all are.
template <class Try>
void expectAll(bool permitted, const std::string& verb, const std::vector<std::string>& subjects,
               const Try& isPermitted, Findings& findings) {
    const auto text = [](bool is) { return is ? "permitted" : "not permitted"; };
    bool right = true;
    for (const std::string& subject : subjects) {
        if (isPermitted(subject) == permitted) continue;
        right = false;
        findings.wrong(std::string(verb).append(" ").append(subject), text(!permitted), text(permitted));
    }
    if (right) findings.ok(verb, std::to_string(subjects.size()) + " subjects " + text(permitted));
}

}  // namespace

void checkRole(const BusClient& client, const frame::Config& config, Findings& findings) {
    const auto publish = [&](const std::string& subject) { return client.mayPublish(subject); };
    const auto subscribe = [&](const std::string& subject) { return client.maySubscribe(subject); };
    const Needs needs = needsOf(config);
    expectAll(true, "publish what is needed", needs.publish, publish, findings);
    expectAll(true, "subscribe to what is needed", needs.subscribe, subscribe, findings);
    const Needs forbidden = forbiddenTo(config);
    expectAll(false, "administrate streams", forbidden.publish, publish, findings);
    expectAll(false, "read another user's answers", forbidden.subscribe, subscribe, findings);
}

}  // namespace necctl
