#ifndef VELTRANE_TESTS_STUDIO_STUDIO_H
#define VELTRANE_TESTS_STUDIO_STUDIO_H

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "tests/cli/command.h"

namespace veltrane {

using Value = nlohmann::json;

/// What came back, as it came.
struct Reply {
    int status = 0;
    std::string head;
    std::string body;

    Value AsJson() const { return Value::parse(body, nullptr, false); }
    std::string Header(const std::string& name) const {
        const std::size_t at = head.find("\r\n" + name + ": ");
        if (at == std::string::npos) return {};
        const std::size_t begin = at + name.size() + 4;
        return head.substr(begin, head.find("\r\n", begin) - begin);
    }
};

/// The request's parts, each of which a test may make wrong.
struct Request {
    std::string method = "GET";
    std::string path = "/";
    std::vector<std::pair<std::string, std::string>> headers{};
    std::string body{};
};

/// Runs the studio on the folder of the test, which holds in.png, and talks to it over a socket.
class StudioTest : public CommandTest {
protected:
    void Open(const std::string& arguments = "in.png") {
        fs::remove("../out");  // of an earlier one
        child_ = Start("studio --no-browser " + arguments);
        WaitUntil(child_, [] { return Contents("../out").find('\n') != std::string::npos; });
        const std::string line = Contents("../out");
        const std::string before = "http://127.0.0.1:", token = "/?token=";
        ASSERT_EQ(line.find(before), 0u) << line << Contents("../error");
        port_ = std::stoi(line.substr(before.size()));
        token_ = line.substr(line.find(token) + token.size(), 32);
        const Reply reply = Send({"GET", token + token_});
        const std::string cookie = reply.Header("Set-Cookie");
        cookie_ = cookie.substr(0, cookie.find(';'));
    }

    ~StudioTest() override {
        if (child_ > 0) Close();
    }

    /// Ctrl-C; the exit status.
    int Close() {
        int ended = 0;
        const pid_t child = std::exchange(child_, 0);
        kill(child, SIGINT);
        waitpid(child, &ended, 0);
        return WIFEXITED(ended) ? WEXITSTATUS(ended) : -1;
    }

    std::string Host() const { return "127.0.0.1:" + std::to_string(port_); }

    /// These bytes as they are; the answer up to the end of the connection. begun tells that it
    /// comes.
    Reply SendRaw(const std::string& bytes, std::atomic<bool>* begun = nullptr) const {
        const int to = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port_));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        Reply reply;
        if (connect(to, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
            [[maybe_unused]] const auto sent = send(to, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            shutdown(to, SHUT_WR);
            std::string all;
            std::vector<char> block(1 << 16);
            for (ssize_t got; (got = recv(to, block.data(), block.size(), 0)) > 0;) {
                all.append(block.data(), static_cast<std::size_t>(got));
                if (begun != nullptr) *begun = true;
            }
            const std::size_t end = all.find("\r\n\r\n");
            reply.head = all.substr(0, end == all.npos ? all.size() : end + 2);
            if (end != all.npos) reply.body = all.substr(end + 4);
            if (reply.head.size() > 12) reply.status = std::atoi(reply.head.c_str() + 9);
        }
        close(to);
        return reply;
    }

    /// As a browser sends it, but for the headers that are given; an empty one is left out.
    Reply Send(const Request& request, std::atomic<bool>* begun = nullptr) const {
        auto headers = request.headers;
        const auto add = [&](const std::string& name, const std::string& value) {
            const auto same = [&](const auto& header) { return header.first == name; };
            if (std::none_of(headers.begin(), headers.end(), same))
                headers.emplace_back(name, value);
        };
        add("Host", Host());
        add("Cookie", cookie_);
        add("Connection", "close");
        if (request.method == "POST") {
            add("Origin", "http://" + Host());
            add("Content-Type", "application/json");
            add("Content-Length", std::to_string(request.body.size()));
        }
        std::string text = request.method + ' ' + request.path + " HTTP/1.1\r\n";
        for (const auto& [name, value] : headers)
            if (!value.empty()) text += name + ": " + value + "\r\n";
        return SendRaw(text + "\r\n" + request.body, begun);
    }

    Reply Post(const std::string& path, const Value& body) const {
        return Send({"POST", path, {}, body.dump()});
    }
    Value Asked(const std::string& path, const Value& body) const {
        const Reply reply = Post(path, body);
        EXPECT_EQ(reply.status, 200) << path << reply.body;
        return reply.AsJson();
    }
    Value Got(const std::string& path) const { return Send({"GET", path}).AsJson(); }

    /// The reply is an error of this status, whose one line holds the text.
    static void ExpectRefused(const Reply& reply, int status, const std::string& text) {
        EXPECT_EQ(reply.status, status) << reply.body;
        const Value json = reply.AsJson();
        ASSERT_TRUE(json.is_object() && json.contains("error")) << reply.body;
        const std::string line = json["error"];
        EXPECT_NE(line.find(text), std::string::npos) << line;
        EXPECT_EQ(line.find('\n'), std::string::npos) << line;
    }

    pid_t child_ = 0;
    int port_ = 0;
    std::string token_, cookie_;
};

}  // namespace veltrane

#endif
