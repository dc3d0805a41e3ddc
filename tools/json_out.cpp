// SPDX-License-Identifier: Apache-2.0
#include "json_out.h"

#include <arpa/inet.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <vector>

#include "platform/dev.h"

namespace json {

namespace {

bool g_enabled = false;

std::vector<Display> &table() {
    static std::vector<Display> t;
    return t;
}

const Display *find(const cli::Command &command) {
    for (const Display &d : table())
        if (std::strcmp(d.keywords, command.keywords) == 0) return &d;
    return nullptr;
}

bool is_display(const cli::Command &command) { return std::strncmp(command.keywords, "display ", 8) == 0; }

}  // namespace

void set_enabled(bool on) { g_enabled = on; }
bool enabled() { return g_enabled; }

bool add(std::initializer_list<Display> displays) {
    for (const Display &d : displays) table().push_back(d);
    return true;
}

int run(const cli::Command &command, cli::Args &args) {
    if (!is_display(command)) return command.run(args);
    const Display *d = find(command);
    if (d == nullptr) return cli::fail("JSON output is not available for this display");
    return d->run(args);
}

Document::Document(const char *display) : stream_(stdout, buffer_, sizeof buffer_), writer_(stream_) {
    std::fflush(stdout);
    writer_.StartObject();
    str("display", display);
}

Document::~Document() {
    writer_.EndObject();
    stream_.Put('\n');
    stream_.Flush();
    std::fflush(stdout);
}

void Document::slot(uint16_t node) { u("slot", LIP_GetSlotID(node)); }

void Document::time(const char *k, uint32_t seconds) {
    char text[32] = "";
    const time_t t = static_cast<time_t>(seconds);
    struct tm tmv;
    if (gmtime_r(&t, &tmv) != nullptr) std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &tmv);
    str(k, text);
    char secondsKey[64];
    const int n = std::snprintf(secondsKey, sizeof secondsKey, "%s_seconds", k);
    writer_.Key(secondsKey, static_cast<rapidjson::SizeType>(n), true);
    writer_.Uint(seconds);
}

void Document::address(const char *k, uint8_t family, const uint8_t *addr) {
    char text[INET6_ADDRSTRLEN];
    const bool v4 = family == 2;
    if (inet_ntop(v4 ? AF_INET : AF_INET6, addr, text, sizeof text) == nullptr)
        std::strcpy(text, v4 ? "-" : "---");
    str(k, text);
}

}  // namespace json
