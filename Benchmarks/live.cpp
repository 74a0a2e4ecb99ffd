// Times requests on a running application over its socket.
//
//     bench-live <socket> state <rounds>                  the full state document
//     bench-live <socket> timeline <rounds> <clips>       a request that replaces the whole timeline
//
// Prints the median in milliseconds, from the first byte sent to the last one received. Each timeline differs from the
// one before, so that each is composed and committed.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "CLI/CLIRequest.h"
#include "CLI/LocalCLIConnection.h"

namespace {

using nlohmann::json;

json ask(const std::string& socket, const kelvane::CLIRequest& request, double* milliseconds) {
    const auto data = kelvane::encodeCLIRequest(request);
    const auto start = std::chrono::steady_clock::now();
    const auto reply = kelvane::LocalCLIConnection::request(data, socket, 0);
    const std::chrono::duration<double, std::milli> spent = std::chrono::steady_clock::now() - start;
    if (!reply) {
        std::fprintf(stderr, "%s\n", reply.error().message.c_str());
        std::exit(1);
    }
    auto document = json::parse(*reply);
    if (!document.value("ok", false)) {
        std::fprintf(stderr, "%s\n", reply->substr(0, 400).c_str());
        std::exit(1);
    }
    if (milliseconds != nullptr) *milliseconds = spent.count();
    return document["result"];
}

kelvane::CLIRequest request(std::string command, std::map<std::string, std::string> options = {}) {
    kelvane::CLIRequest made;
    made.command = std::move(command);
    made.options = std::move(options);
    return made;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) return 2;
    const std::string socket = argv[1];
    const std::string what = argv[2];
    const int rounds = std::atoi(argv[3]);
    std::vector<double> times;
    auto state = ask(socket, request("project"), nullptr);
    for (int round = 0; round < rounds; ++round) {
        double spent = 0;
        if (what == "state") {
            ask(socket, request("project"), &spent);
        } else {
            json timeline = json::array();
            const auto& assets = state["assets"];
            const int clips = argc > 4 ? std::atoi(argv[4]) : 1000;
            for (int i = 0; i < clips; ++i) {
                const auto& asset = assets[static_cast<std::size_t>(i) % assets.size()];
                timeline.push_back({{"assetID", asset["assetID"]}, {"start", 0.1 + 0.001 * round}, {"end", 0.5}});
            }
            const auto reply = ask(
                socket,
                request("timeline", {{"revision", state["revision"]}, {"json", timeline.dump()}, {"compact", "true"}}),
                &spent);
            state["revision"] = reply["revision"];
        }
        times.push_back(spent);
    }
    std::ranges::sort(times);
    std::printf("%.3f\n", times[times.size() / 2]);
}
