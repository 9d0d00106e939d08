// Running necctl on a real database.
#pragma once

#include <json/json.h>

#include <memory>
#include <sstream>

#include "e2e/necctl_fixture.h"
#include "platform/db/fixture.h"

class NecctlDatabase : public Necctl {
protected:
    // `kind`: of db_test::makePlace.
    explicit NecctlDatabase(const std::string& kind = "sqlite") : place_(db_test::makePlace(kind)) {
        configure("[database]\nurl = " + tomlOf(place_->url()) + "\nconnections = 1\n");
    }

    // Tables beside that of the process.
    void configure(const std::string& tables) const {
        folder.write("nec.toml", "[process]\ntype = 3005\nhandle = 7\n" + tables);
    }
    std::vector<std::string> command(std::vector<std::string> words) const {
        words.insert(words.begin(), {"--config", folder.file("nec.toml")});
        return words;
    }
    std::string tell(const std::vector<std::string>& words, std::string_view input = {}) const {
        return answer(command(words), input);
    }
    Json::Value tellJson(std::vector<std::string> words) const {
        words.emplace_back("--json");
        Json::Value json;
        std::istringstream(tell(words)) >> json;
        return json;
    }
    std::string fail(int status, const std::vector<std::string>& words, std::string_view input = {}) const {
        return failure(status, command(words), input);
    }

    // Calls `use` in this program, with the same database.
    template <class Use>
    auto inside(Use use) const {
        const frame::Database database(db_test::optionsFor(place_->url()));
        return use();
    }
    void alter(const std::string& statement) const {
        inside([&] {
            dao::CSqlSession session;
            session.connection() << statement;
        });
    }

    db_test::Place& place() { return *place_; }
    std::string sqliteFile() const { return place_->url().substr(std::string("sqlite:").size()); }
    static std::string tomlOf(const std::string& text) {
        std::string toml = "\"";
        for (const char character : text) {
            if (character == '"' || character == '\\') toml += '\\';
            toml += character;
        }
        return toml + '"';
    }

private:
    const std::unique_ptr<db_test::Place> place_;
};
