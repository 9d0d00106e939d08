// Databases that tests run over.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "support/folder.h"
#include "support/postgres.h"

namespace support {

// A real database, which a test may take down.
class Place {
public:
    virtual ~Place() = default;
    virtual std::string url() const = 0;
    // Part of what errors must call it.
    virtual std::string name() const = 0;
    virtual void takeDown() = 0;
    virtual void bringBack() = 0;
};

class SqlitePlace : public Place {
public:
    SqlitePlace() { std::filesystem::create_directory(folder_.file("there")); }
    std::string url() const override { return "sqlite:" + folder_.file("there/nec data=1.db"); }
    std::string name() const override { return url(); }
    void takeDown() override { std::filesystem::rename(folder_.file("there"), folder_.file("gone")); }
    void bringBack() override { std::filesystem::rename(folder_.file("gone"), folder_.file("there")); }

private:
    Folder folder_;
};

class PostgresPlace : public Place {
public:
    std::string url() const override { return server_.url(); }
    std::string name() const override { return "dbname=postgres"; }
    void takeDown() override { server_.stop(); }
    void bringBack() override { server_.start(); }

private:
    Postgres server_;
};

inline std::unique_ptr<Place> makePlace(const std::string& kind) {
    if (kind == "sqlite") return std::make_unique<SqlitePlace>();
    return std::make_unique<PostgresPlace>();
}

}  // namespace support
