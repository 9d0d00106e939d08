// Three NATS servers that keep streams together, on ephemeral ports of the loopback interface.
#pragma once

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "support/nats_server.h"

namespace support {

class NatsCluster {
public:
    static constexpr std::size_t size = 3;

    // Throws as NatsServer does.
    NatsCluster() {
        constexpr int nobodyThere = 1;
        for (std::size_t i = 0; i < size; ++i) {
            const int first = i == 0 ? nobodyThere : nodes_[0]->routePort();
            nodes_.at(i) = std::make_unique<NatsServer>(configuration(i, -1, {first}), true);
        }
        // Those that are started again have the ports that they have now.
        std::vector<int> ports;
        for (const auto& node : nodes_) ports.push_back(node->routePort());
        for (std::size_t i = 0; i < size; ++i) nodes_.at(i)->configure(configuration(i, ports[i], ports));
    }

    NatsServer& node(std::size_t index) { return *nodes_.at(index); }
    std::vector<std::string> urls() const {
        std::vector<std::string> urls;
        for (const auto& node : nodes_) urls.push_back(node->url());
        return urls;
    }
    static std::string nameOf(std::size_t index) { return "node-" + std::to_string(index + 1); }

private:
    static std::string configuration(std::size_t index, int port, const std::vector<int>& routes) {
        std::string text = "server_name: " + nameOf(index) +
                           "\ncluster { name: nec, listen: \"127.0.0.1:" + std::to_string(port) +
                           "\", no_advertise: true, routes: [\n";
        for (const int route : routes) text += "\"nats://127.0.0.1:" + std::to_string(route) + "\"\n";
        return text + "] }\n";
    }

    std::array<std::unique_ptr<NatsServer>, size> nodes_;
};

}  // namespace support
