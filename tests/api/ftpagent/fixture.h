// A process with an FTP configuration in a real database, a management centre on its bus, and a load balancer's
// description.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "config/ftp_store.h"
#include "db/schema.h"
#include "nec/records.h"
#include "platform/db.h"
#include "platform/process.h"
#include "support/environment.h"
#include "support/folder.h"
#include "support/logged.h"
#include "support/record_codec.h"

class WithFtpConfiguration : public testing::Test {
protected:
    static constexpr const char* password = "p%s;'\" s3cret";

    // The process, anew, with these south addresses and addresses of this host.
    void start(const std::string& south, const std::vector<std::string>& hosts = {"10.1.1.1"}) {
        stop();
        frame::Config config;
        config.process = {3005, 7, 0};
        config.log.level = frame::LogLevel::off;
        config.log.trace = false;
        config.database.url = "sqlite:" + folder.file("nec.db");
        config.sysConfig = {south, "", hosts};
        process_ = std::make_unique<frame::Process>(config);
        dao::CSqlSession session;
        frame::schema().migrate(session.connection());
    }
    // The process goes down; the management centre stays for those that wait for it.
    void processGoes() { process_.reset(); }
    void stop() {
        serving_ = {};
        centre_.reset();
        process_.reset();
    }
    // The process with parameters of the whole system.
    void startWithParameters(const std::string& south, const std::vector<std::string>& hosts = {"10.1.1.1"}) {
        start(south, hosts);
        frame::setFtpParameters({"nec", password, "/ftp/root", 2121, 2222});
    }
    static void addAccount(const std::string& name, const std::string& home, const std::string& relative,
                           const std::string& userName = "local", int port = 2022) {
        frame::addFtpAccount({name, userName, password, port, home, relative});
    }

    // The management centre, whose requests `answer` takes.
    void centreDoes(const frame::RequestSink& answer) {
        serving_ = {};
        centre_.reset();
        centre_ = process_->localBus()->connect({3001, 1});
        serving_ = centre_->serveRequests(0xB0000F, answer);
    }
    // The same, which answers with these octets.
    void centreSays(const frame::Payload& answer) {
        centreDoes([answer](const frame::RequestMessage&) { return answer; });
    }
    struct Node {
        std::string nmsIP;
        std::string natIP;
    };
    // The same, with these nodes.
    void centreKnows(const std::vector<Node>& nodes) { centreSays(answerWith(nodes)); }
    static frame::Payload answerWith(const std::vector<Node>& nodes) {
        asn_frame::AsnFrameGetNodeIPResponse response;
        for (const Node& node : nodes) {
            asn_frame::AsnFrameNodeIP* added = response.nodeIPList.Append();
            added->nmsIP = node.nmsIP;
            if (!node.natIP.empty()) added->natIP = new AsnOcts(node.natIP);
        }
        return frame::encode(response);
    }

    // What the load balancer's description says of this process: members of "vips".
    void balanced(const std::string& vips) const {
        folder.write("app_version.json", R"({"processes": {"nms_1": {"LVS_1": {"vips": [)" + vips + "]}}}}");
    }
    struct Network {
        std::string target;
        std::string mask;
    };
    static std::string vip(const std::string& address, const std::vector<Network>& networks) {
        std::string proxies;
        for (const Network& network : networks) {
            if (!proxies.empty()) proxies += ',';
            proxies += R"({"networkmask": ")" + network.mask + R"(", "targetnetwork": ")" + network.target + "\"}";
        }
        return R"({"vip": ")" + address + R"(", "proxy": [)" + proxies + "]}";
    }
    static std::string vip(const std::string& address, const std::string& target, const std::string& mask) {
        return vip(address, {{target, mask}});
    }

    support::Folder folder;
    support::Variable processName{"PROCESS_NAME", "nms"};
    support::Variable description{"APP_CONF_FILE", folder.file("app_version.json")};
    // Without a program "cd".
    support::Variable path{"PATH", folder.file("bin")};

private:
    std::unique_ptr<frame::Process> process_;
    std::unique_ptr<frame::BusEngine> centre_;
    frame::Subscription serving_;
};
