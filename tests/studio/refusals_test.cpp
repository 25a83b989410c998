#include <iomanip>
#include <random>

#include "tests/studio/studio.h"

namespace veltrane {
namespace {

const Value kFrame{{"shot", "in.png"}, {"frame", 1}};

Value With(Value json, const char* name, const Value& value) {
    json[name] = value;
    return json;
}

TEST_F(StudioTest, ServesThisMachineAlone) {
    Open();
    std::ifstream sockets("/proc/net/tcp");
    std::ostringstream port;
    port << ':' << std::hex << std::uppercase << std::setw(4) << std::setfill('0') << port_;
    bool listens = false;
    for (std::string line; std::getline(sockets, line);)
        if (line.find(port.str() + " 00000000:0000 0A") != line.npos) {
            EXPECT_NE(line.find(" 0100007F:"), line.npos) << line;
            listens = true;
        }
    EXPECT_TRUE(listens);
}

TEST_F(StudioTest, ChangesTheTokenForACookieThatScriptsDoNotSee) {
    Open();
    const Reply reply = Send({"GET", "/?token=" + token_, {{"Cookie", ""}}});
    EXPECT_EQ(reply.status, 303);
    EXPECT_EQ(reply.Header("Location"), "/");
    const std::string cookie = reply.Header("Set-Cookie");
    for (const char* part : {"; HttpOnly", "; SameSite=Strict", "; Path=/"})
        EXPECT_NE(cookie.find(part), cookie.npos) << cookie;
    EXPECT_EQ(cookie.find(token_), cookie.npos);
    for (const Reply& each : {reply, Send({"GET", "/api/session"}), Send({"GET", "/none"})}) {
        EXPECT_EQ(each.Header("X-Content-Type-Options"), "nosniff");
        EXPECT_EQ(each.Header("Referrer-Policy"), "same-origin");
        const std::string policy = each.Header("Content-Security-Policy");
        EXPECT_EQ(policy.find("default-src 'none'"), 0u) << policy;
        EXPECT_EQ(policy.find("unsafe"), policy.npos) << policy;
    }
}

TEST_F(StudioTest, KnowsItsUserByTheCookieAlone) {
    Open();
    const std::string other(32, '0');
    ExpectRefused(Send({"GET", "/", {{"Cookie", ""}}}), 401, "open the address");
    ExpectRefused(Send({"GET", "/?token=" + other, {{"Cookie", ""}}}), 401, "open the address");
    ExpectRefused(Send({"GET", "/?token=" + token_.substr(1), {}}), 401, "open the address");
    ExpectRefused(Send({"GET", "/api/session?token=" + token_, {{"Cookie", ""}}}), 401, "open");
    const std::string name = cookie_.substr(0, cookie_.find('='));
    for (const std::string& wrong :
         {name + '=', name + '=' + other, std::string("x").append(cookie_), cookie_ + "0"})
        ExpectRefused(Send({"GET", "/api/session", {{"Cookie", wrong}}}), 401, "open");
    EXPECT_EQ(Send({"GET", "/api/session", {{"Cookie", "a=b; " + cookie_}}}).status, 200);
}

TEST_F(StudioTest, RefusesOtherHostsAndOrigins) {
    Open();
    const std::string port = std::string(":").append(std::to_string(port_));
    for (const std::string& host : {"localhost" + port, "[::1]" + port, "LocalHost" + port})
        EXPECT_EQ(Send({"GET", "/api/session", {{"Host", host}}}).status, 200) << host;
    for (const std::string& host :
         {std::string("127.0.0.1"), "evil.example" + port, "127.0.0.1.evil.example" + port,
          "localhost." + port, std::string("127.0.0.1:1"), "evil@127.0.0.1" + port})
        for (const char* path : {"/", "/api/session", "/none"})
            ExpectRefused(Send({"GET", path, {{"Host", host}}}), 403, "answers as 127.0.0.1");
    const Reply twice = Send({"GET", "/api/session", {{"Host", Host()}, {"Host", "evil.example"}}});
    EXPECT_GE(twice.status, 400);
    for (const std::string& origin :
         {std::string(), std::string("null"), std::string("http://evil.example"),
          std::string("https://") + Host(), "http://localhost" + port, "http://" + Host() + "0"})
        ExpectRefused(Send({"POST", "/api/open", {{"Origin", origin}}, R"({"path": "in.png"})"}),
                      403, "own page");
    ExpectRefused(Send({"GET", "/api/session", {{"Origin", "http://evil.example"}}}), 403, "own");
}

TEST_F(StudioTest, ReadsNothingOutsideItsFolder) {
    fs::create_directory("shots");
    fs::rename("in.png", "shots/in.png");
    Write("secret.png", source_);
    fs::create_symlink("../secret.png", "shots/link.png");
    fs::create_directory_symlink("..", "shots/up");
    fs::copy("secret.png", "shots/s.1.png");
    fs::create_symlink("../secret.png", "shots/s.2.png");
    Open("--root shots");
    const std::string here = fs::current_path().string();
    for (const std::string& path :
         {std::string("../secret.png"), here + "/secret.png", std::string("link.png"),
          std::string("up/secret.png"), std::string("s.%d.png"), std::string("../s%d.png")}) {
        ExpectRefused(Post("/api/open", {{"path", path}}), 403, "outside the folder");
        const bool inside = path == "s.%d.png";
        ExpectRefused(Post("/api/preset/load", {{"path", path}}), inside ? 404 : 403,
                      inside ? "not there" : "outside the folder");
    }
    for (const char* folder : {"..", "up", "/", "/etc"})
        ExpectRefused(Send({"GET", std::string("/api/files?folder=") + folder}), 403, "outside");
    const Value render{{"shot", "in.png"}, {"output", "../out.png"}};
    ExpectRefused(Post("/api/render", render), 403, "outside the folder");
    ExpectRefused(Post("/api/render", With(render, "output", "up/out.png")), 403, "outside");
    ExpectRefused(Post("/api/render", With(render, "output", "link.png")), 403, "outside");
    ExpectRefused(Post("/api/open", {{"path", std::string("in.png\0", 7)}}), 404, "not there");
    EXPECT_EQ(Post("/api/open", {{"path", here + "/shots/in.png"}}).status, 200);
}

TEST_F(StudioTest, NamesWhatIsWrongWithARequest) {
    Open();
    const auto refused = [&](const Value& change, int status, const std::string& text) {
        Value body = kFrame;
        body.update(change);
        ExpectRefused(Post("/api/frame", body), status, text);
    };
    refused({{"frame", 2}}, 404, "frame 2 is not in the shot, which has 1 to 1");
    refused({{"frame", "1"}}, 400, "frame must be a whole number");
    refused({{"frame", 1e30}}, 400, "frame must be a whole number");
    refused({{"shot", "none.png"}}, 404, "none.png is not there");
    refused({{"settings", {{"shadow", 101}}}}, 400, "shadow must be a whole number from 0 to 100");
    refused({{"settings", {{"glow", 1}}}}, 400, "unknown setting \"glow\"");
    refused({{"settings", {{"key-color", "#40b838"}, {"screen", "blue"}}}}, 400, "green screen");
    refused({{"view", "alpha"}}, 400, "view must be one of");
    refused({{"scale", 0}}, 400, "scale must be a whole number from 1 to 16, not 0");
    refused({{"channels", "rgb"}}, 400, "channels must be rgba or a, not rgb");
    refused({{"inputs", {{"garbage", "<svg/>"}}}}, 400, "garbage matte: ");
    refused({{"inputs", {{"glow", "x"}}}}, 400, "inputs has no \"glow\"");
    refused({{"inputs", {{"garbage", "<svg/>"}, {"garbageFile", "in.png"}}}}, 400, "or drawn");
    refused({{"inputs", {{"matchPlate", true}}}}, 400, "no clean plate to match");
    const Request post{"POST", "/api/frame", {}, "[1"};
    ExpectRefused(Send(post), 400, "one JSON object");
    ExpectRefused(Send({"POST", "/api/frame", {{"Content-Type", "text/plain"}}, "{}"}), 400,
                  "application/json");
    ExpectRefused(Send({"POST", "/api/frame", {{"Content-Length", ""}}}), 411, "length");
    ExpectRefused(Send({"POST", "/api/frame", {{"Content-Length", "4194305"}}}), 413, "4194304");
    ExpectRefused(Send({"GET", "/api/frame"}), 405, "by GET");
    ExpectRefused(Send({"DELETE", "/", {{"Origin", "http://" + Host()}}}), 405, "by DELETE");
    ExpectRefused(Send({"GET", "/../index.html"}), 404, "not there");
    ExpectRefused(Send({"GET", "/api/none"}), 404, "not there");
}

/// Bytes of an honest request of which some are replaced, repeated or left out.
std::string Mangled(std::string text, std::mt19937& random) {
    const auto below = [&](std::size_t limit) {
        return random() % std::max<std::size_t>(limit, 1);
    };
    for (std::size_t change = 1 + below(6); change > 0; --change) {
        const std::size_t at = below(text.size()), length = below(20);
        switch (below(4)) {
            case 0:
                text[at] = static_cast<char>(random());
                break;
            case 1:
                text.erase(at, length);
                break;
            case 2:
                text.insert(at, text.substr(below(text.size()), length));
                break;
            default:
                text.insert(at, length * 40, "\0\r\n:{[\"9%"[below(9)]);
        }
    }
    return text;
}

TEST_F(StudioTest, OutlivesMalformedRequests) {
    Open();
    std::mt19937 random(20261122);
    const std::string body =
        R"({"shot":"in.png","frame":1,"settings":{"shadow":40,"key-color":"#40b838"},"view":"matte"})";
    const std::string paths[] = {"/api/frame", "/api/open",  "/api/pick",   "/api/probe",
                                 "/api/work",  "/api/files", "/api/session"};
    const int kRequests = 2000;
    for (int i = 0; i < kRequests; ++i) {
        const std::string& path = paths[random() % std::size(paths)];
        // Half of them reach the server's own reader of bodies.
        const bool whole = i % 2 == 0;
        const std::string sent = whole ? Mangled(body, random) : body;
        const std::string honest =
            "POST " + path + " HTTP/1.1\r\nHost: " + Host() + "\r\nOrigin: http://" + Host() +
            "\r\nCookie: " + cookie_ +
            "\r\nContent-Type: application/json\r\nContent-Length: " + std::to_string(sent.size()) +
            "\r\nConnection: close\r\n\r\n" + sent;
        const Reply reply = SendRaw(whole ? honest : Mangled(honest, random));
        ASSERT_TRUE(reply.status == 0 || (reply.status >= 200 && reply.status < 500))
            << reply.status << reply.body << sent;
    }
    EXPECT_EQ(Send({"GET", "/api/session"}).status, 200);
    EXPECT_EQ(Close(), 130);
}

}  // namespace
}  // namespace veltrane
