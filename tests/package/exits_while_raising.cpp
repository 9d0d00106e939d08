// Ends while another thread goes on raising events: by returning from main, after its process is gone ("gone"), or with
// a process that is never taken down ("alive"). Its exit status is 0 unless something breaks on the way out.
#include <future>
#include <string_view>
#include <thread>

#include "nec/nenotify.h"
#include "platform/process.h"

int main(int argc, char** argv) {
    frame::Config config;
    config.process.type = 3001;
    config.process.handle = 7;
    static auto* const process = new frame::Process(config);  // in "alive", for the leak checker still in use

    std::promise<void> raising;
    auto started = raising.get_future();
    std::thread([raising = std::move(raising)]() mutable {
        NEC::NotifyNECreated(1);
        raising.set_value();
        for (unsigned long neId = 2;; ++neId) NEC::NotifyNECreated(neId);
    }).detach();
    started.wait();

    if (argc == 2 && std::string_view(argv[1]) == "gone") delete process;
    return 0;
}
