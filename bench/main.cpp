// Runs the registered rows, prints them as one table and writes them as JSON.
// Exit code: 0 when all rows hold, 1 when one does not, 2 for a wrong call, a row that breaks off or a file that cannot
// be written.
#include <json/json.h>
#include <malloc.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "bench.h"

namespace {

struct Options {
    bench::Run run;
    std::string filter;
    std::string out;
};

struct Outcome {
    const bench::Row* row;
    bench::Figures figures;
    double ratio;
    bool holds;
};

[[noreturn]] void measureInChild(const bench::Row& row, const bench::Run& run, int answer) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    try {
        const bench::Figures figures = row.measure(run);
        _exit(write(answer, &figures, sizeof figures) == sizeof figures ? 0 : 1);
    } catch (const std::exception& error) {
        std::cerr << "bench: " << row.name << ": " << error.what() << '\n';
    }
    _exit(1);
}

// Each row has a process of its own, so that all find the same young heap and none meets another's threads.
bench::Figures measureApart(const bench::Row& row, const bench::Run& run) {
    int pipeEnds[2];
    if (pipe(pipeEnds) != 0) throw std::runtime_error("cannot make a pipe");
    const pid_t child = fork();
    if (child < 0) throw std::runtime_error("cannot fork");
    if (child == 0) measureInChild(row, run, pipeEnds[1]);
    close(pipeEnds[1]);
    bench::Figures figures;
    const bool answered = read(pipeEnds[0], &figures, sizeof figures) == sizeof figures;
    close(pipeEnds[0]);
    waitpid(child, nullptr, 0);
    if (!answered) throw std::runtime_error("no figures from row " + row.name);
    return figures;
}

Outcome measure(const bench::Row& row, const bench::Run& run) {
    const bench::Figures figures = measureApart(row, run);
    const double ratio = row.bound.ratioOf(figures);
    return {&row, figures, ratio, run.quick || row.bound.holds(ratio)};
}

void printLine(int width, const char* name, const char* ours, const char* peer, const char* ratio, const char* bound,
               const char* holds) {
    std::printf("%-*s %14s %14s %9s %9s  %s\n", width, name, ours, peer, ratio, bound, holds);
    std::fflush(stdout);  // a row may take a while: show each when it is there
}

void print(int width, const Outcome& outcome) {
    char ours[32];
    char peer[32];
    char ratio[32];
    std::snprintf(ours, sizeof ours, "%.2f", outcome.figures.ours);
    std::snprintf(peer, sizeof peer, "%.2f", outcome.figures.peer);
    std::snprintf(ratio, sizeof ratio, "%.2f", outcome.ratio);
    printLine(width, outcome.row->name.c_str(), ours, peer, ratio, outcome.row->bound.text().c_str(),
              outcome.holds ? "yes" : "NO");
}

Json::Value toJson(const Outcome& outcome) {
    Json::Value row;
    row["name"] = outcome.row->name;
    row["ours"] = outcome.figures.ours;
    row["peer"] = outcome.figures.peer;
    row["ratio"] = outcome.ratio;
    row["bound"] = outcome.row->bound.text();
    row["holds"] = outcome.holds;
    return row;
}

bool write(const std::string& path, const std::vector<Outcome>& outcomes) {
    Json::Value list(Json::arrayValue);
    for (const Outcome& outcome : outcomes) list.append(toJson(outcome));
    std::ofstream file(path);
    file << list << '\n';
    return static_cast<bool>(file.flush());
}

std::vector<const bench::Row*> chosen(const std::string& filter) {
    std::vector<const bench::Row*> found;
    for (const bench::Row& row : bench::rows()) {
        if (row.name.find(filter) != std::string::npos) found.push_back(&row);
    }
    return found;
}

int run(const Options& options) {
    const std::vector<const bench::Row*> rows = chosen(options.filter);
    if (rows.empty()) {
        std::cerr << "bench: no row's name contains \"" << options.filter << "\"\n";
        return 2;
    }
    std::size_t width = 0;
    for (const bench::Row* row : rows) width = std::max(width, row->name.size());
    const int columns = static_cast<int>(width);
    printLine(columns, "name", "ours", "peer", "ratio", "bound", "holds");
    std::vector<Outcome> outcomes;
    for (const bench::Row* row : rows) {
        outcomes.push_back(measure(*row, options.run));
        print(columns, outcomes.back());
    }
    if (!options.out.empty() && !write(options.out, outcomes)) {
        std::cerr << "bench: cannot write " << options.out << '\n';
        return 2;
    }
    return std::all_of(outcomes.begin(), outcomes.end(), [](const Outcome& o) { return o.holds; }) ? 0 : 1;
}

// Keeps freed memory in the process, as it stays in one that has run for a while. Otherwise each large buffer is
// fetched from the kernel and given back, on all sides alike, and the rows show mostly that.
void keepFreedMemory() {
    mallopt(M_MMAP_THRESHOLD, 32 << 20);
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
}

}  // namespace

int main(int argc, char** argv) {
    keepFreedMemory();
    CLI::App app("Benchmarks: ours beside peers of the same work, in one run");
    Options options;
    app.add_flag("--quick", options.run.quick, "Run every row once and judge none");
    app.add_option("--filter", options.filter, "Only rows whose name contains this text");
    app.add_option("--out", options.out, "Also write the table to this file, as JSON");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    try {
        return run(options);
    } catch (const std::exception& error) {
        std::cerr << "bench: " << error.what() << '\n';
        return 2;
    }
}
