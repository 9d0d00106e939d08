// Local address resolution: the table match and the subnet test, beside their plain forms.
#include <random>

#include "api/localip/plain.h"
#include "bench.h"
#include "localip/nms_lookup.h"
#include "localip/subnet.h"
#include "platform/log.h"

namespace {

using asn_frame::AsnFrameGetNodeIPResponse;

std::string dotted(std::uint32_t address) {
    return std::to_string(address >> 24U) + '.' + std::to_string(address >> 16U & 0xFFU) + '.' +
           std::to_string(address >> 8U & 0xFFU) + '.' + std::to_string(address & 0xFFU);
}

// Ranges of up to 256 addresses anywhere, and one that the NE below lies in.
std::vector<NEC::NatInfo> tableOf(std::size_t rows) {
    std::mt19937 random(1);
    std::vector<NEC::NatInfo> table;
    while (table.size() < rows) {
        const auto begin = static_cast<std::uint32_t>(random());
        table.push_back({dotted(begin), dotted(begin + random() % 256), "192.168.1.5", "203.0.113.7"});
    }
    table[rows / 2] = {"10.0.0.1", "10.0.0.10", "192.168.1.5", "203.0.113.7"};
    return table;
}

constexpr const char* ne = "10.0.0.9";

void logTo(const char* file, frame::LogLevel level) {
    frame::LogOptions options;
    options.file = file;
    options.level = level;
    options.trace = false;
    frame::openLog(options, 1, 1);
}

// A row of ours beside a row of the plain loop.
bench::Figures matching(const bench::Run& run, std::size_t rows) {
    logTo("/dev/null", frame::LogLevel::error);
    const std::vector<NEC::NatInfo> table = tableOf(rows);
    AsnFrameGetNodeIPResponse response;
    return bench::alternate(
        run, bench::Clock::cpu, static_cast<double>(rows),
        [&] { NEC::GetOneLocalIpRspFromIpTable(table, ne, response); },
        [&] { plain::matchTable(table, ne, response, nullptr); });
}

// Both with a line of text a row, handed to the log as one record.
bench::Figures matchingLogged(const bench::Run& run, std::size_t rows) {
    logTo("/dev/null", frame::LogLevel::info);
    const std::vector<NEC::NatInfo> table = tableOf(rows);
    AsnFrameGetNodeIPResponse response;
    return bench::alternate(
        run, bench::Clock::cpu, static_cast<double>(rows),
        [&] { NEC::GetOneLocalIpRspFromIpTable(table, ne, response); },
        [&] {
            std::string log;
            plain::matchTable(table, ne, response, &log);
            LogProcess::Info(log, {"bench", "matchingLogged", __LINE__});
        });
}

// A row of ours beside a row of ours in a table of 1,000: 1 when the time grows with the rows and no faster.
bench::Figures growing(const bench::Run& run, std::size_t rows) {
    logTo("/dev/null", frame::LogLevel::error);
    const std::vector<NEC::NatInfo> table = tableOf(rows);
    const std::vector<NEC::NatInfo> small = tableOf(1000);
    AsnFrameGetNodeIPResponse response;
    const double perRow = static_cast<double>(rows);
    bench::Figures figures = bench::alternate(
        run, bench::Clock::cpu, 1, [&] { NEC::GetOneLocalIpRspFromIpTable(table, ne, response); },
        [&] { NEC::GetOneLocalIpRspFromIpTable(small, ne, response); });
    return {figures.ours / perRow, figures.peer / 1000};
}

bench::Figures subnetTest(const bench::Run& run) {
    const std::string target = "10.123.0.0";
    const std::string ip = "10.123.45.67";
    const std::string mask = "255.255.0.0";
    return bench::alternate(
        run, bench::Clock::cpu, 1, [&] { bench::keep(NEC::IsSameSub(target, ip, mask)); },
        [&] { bench::keep(plain::isSameSub(target, ip, mask)); });
}

template <bench::Figures (*Measure)(const bench::Run&, std::size_t)>
auto over(std::size_t rows) {
    return [rows](const bench::Run& run) { return Measure(run, rows); };
}

const bool registered = bench::add({"table match, 100,000 rows, info off: a row, ns; peer: plain loop",
                                    bench::timesFaster(4), over<matching>(100'000)}) &&
                        bench::add({"table match, 100,000 rows, info on: a row, ns; peer: plain loop with snprintf",
                                    bench::timesFaster(3), over<matchingLogged>(100'000)}) &&
                        bench::add({"table match, 10,000 rows: a row, ns; peer: a row of 1,000", bench::atMost(2),
                                    over<growing>(10'000)}) &&
                        bench::add({"table match, 100,000 rows: a row, ns; peer: a row of 1,000", bench::atMost(2),
                                    over<growing>(100'000)}) &&
                        bench::add({"table match, 1,000,000 rows: a row, ns; peer: a row of 1,000", bench::atMost(2),
                                    over<growing>(1'000'000)}) &&
                        bench::add({"IsSameSub: ns; peer: substr and std::stoi", bench::timesFaster(3), subnetTest});

}  // namespace
