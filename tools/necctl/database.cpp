#include "database.h"

#include "config/ftp_store.h"
#include "db/connections.h"
#include "db/schema.h"
#include "failure.h"
#include "platform/db.h"
#include "platform/log.h"
#include "process.h"

namespace necctl {
namespace {

Failure failureOf(const frame::FtpError& error) {
    switch (error.code()) {
        case TESUcommon::ftpNotSet:
            return {wrongData, std::string(error.what()) + "; see necctl ftp params set"};
        case TESUcommon::ftpOtherSchema:
            return {unusable, std::string(error.what()) + "; see necctl db check"};
        default:
            return {unusable, error.what()};
    }
}

}  // namespace

void requireDatabase(const Options& options) {
    if (!frame::databaseConfigured())
        throw Failure(unusable, options.config + ": database.url: missing: this process has no database");
}

void withDatabase(const Options& options, const std::function<void()>& use) {
    const OwnProcess process(options);
    requireDatabase(options);
    const frame::LogCapture log;
    try {
        use();
        // What was done all the same, but not as it should.
        for (const frame::LogRecord& record : log.records())
            if (record.kind == frame::LogRecord::Kind::error) options.say(escaped(record.text));
    } catch (const frame::FtpError& error) {
        throw failureOf(error);
    } catch (const frame::DatabaseError& error) {
        throw Failure(unusable, error.what());
    } catch (const soci::soci_error& error) {
        throw Failure(unusable, frame::reasonOf(error));
    } catch (const std::invalid_argument& error) {
        throw Failure(wrongData, error.what());
    }
}

std::string objectionTo(int version) {
    const int expected = frame::schema().version();
    if (version == expected) return {};
    if (version == 0) return "the database has no schema; necctl db init makes it";
    return "the schema of the database has version " + std::to_string(version) + ", that of this program " +
           std::to_string(expected) +
           (version > 0 && version < expected ? "; necctl db migrate brings it up to date"
                                              : "; expected a newer program");
}

}  // namespace necctl
