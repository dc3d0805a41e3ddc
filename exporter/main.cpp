// SPDX-License-Identifier: Apache-2.0
// dpmgmt-exporter: serves the node's statistics at /metrics in the
// Prometheus text format.  One scrape reads at a time; every wait on the
// session service or the kernel is bounded, and so is the whole read, so a
// silent service gives a scrape with its health at 0 rather than a hung one.
#include <arpa/inet.h>
#include <netdb.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <httplib.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <chrono>
#include <cstdlib>
#include <thread>

#include "collector.h"
#include "options.h"
#include "platform/wait.h"
#include "prom_text.h"
#include "snapshot.h"
#include "write_metrics.h"

#ifndef DPMGMT_VERSION
#define DPMGMT_VERSION "unknown"
#endif

namespace {

constexpr int kExitUsage = 1;
constexpr int kExitBind = 4;
constexpr size_t kTextReserve = 64 * 1024;

const char kIndexPage[] =
    "<html><head><title>dpmgmt exporter</title></head>"
    "<body><h1>dpmgmt exporter</h1><p><a href=\"/metrics\">Metrics</a></p></body></html>\n";

// Why the address cannot be bound: the errno of binding it ourselves, as
// the server would (the server itself does not report it).
int bind_errno(const std::string &host, uint16_t port) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV;
    addrinfo *found = nullptr;
    const std::string service = std::to_string(port);
    const int rc = ::getaddrinfo(host.c_str(), service.c_str(), &hints, &found);
    if (rc != 0) return EADDRNOTAVAIL;
    int err = EADDRNOTAVAIL;
    for (addrinfo *ai = found; ai != nullptr; ai = ai->ai_next) {
        const int fd = ::socket(ai->ai_family, ai->ai_socktype | SOCK_CLOEXEC, ai->ai_protocol);
        if (fd < 0) {
            err = errno;
            continue;
        }
        const int yes = 1;
        ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
        const bool bound = ::bind(fd, ai->ai_addr, ai->ai_addrlen) == 0 && ::listen(fd, 1) == 0;
        err = bound ? 0 : errno;
        ::close(fd);
        if (bound) break;
    }
    ::freeaddrinfo(found);
    return err;
}

}  // namespace

int main(int argc, char **argv) {
    exporter::Options opts;
    switch (exporter::parse_options(argc, argv, opts)) {
    case exporter::ParseResult::kHelp:
        exporter::print_usage(stdout);
        return 0;
    case exporter::ParseResult::kVersion:
        std::printf("dpmgmt-exporter %s\n", DPMGMT_VERSION);
        return 0;
    case exporter::ParseResult::kError:
        return kExitUsage;
    case exporter::ParseResult::kRun:
        break;
    }
    // Every thread started from here on leaves SIGTERM and SIGINT to the
    // one that waits for them.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    // A scraper that goes away mid-answer must not end the exporter.
    signal(SIGPIPE, SIG_IGN);

    PLAT_SetWaitBounds(opts.timeoutMs, opts.timeoutMs);

    exporter::Collector collector(std::chrono::milliseconds(opts.timeoutMs), opts.relations);
    httplib::Server server;
    const time_t ioSeconds = static_cast<time_t>(opts.timeoutMs / 1000 + 5);
    server.set_read_timeout(ioSeconds, 0);
    server.set_write_timeout(ioSeconds, 0);
    server.Get("/metrics", [&](const httplib::Request &, httplib::Response &res) {
        exporter::PromText text;
        text.reserve(kTextReserve);
        exporter::Snapshot snap;
        collector.collect(snap);
        exporter::write_metrics(snap, text);
        res.set_content(text.text(), exporter::PromText::kContentType);
    });
    server.Get("/", [](const httplib::Request &, httplib::Response &res) {
        res.set_content(kIndexPage, "text/html; charset=utf-8");
    });

    if (!server.bind_to_port(opts.host.c_str(), opts.port)) {
        const int err = bind_errno(opts.host, opts.port);
        std::fprintf(stderr, "dpmgmt-exporter: cannot listen on %s:%u: %s\n", opts.host.c_str(), opts.port,
                     std::strerror(err != 0 ? err : EADDRNOTAVAIL));
        return kExitBind;
    }

    std::thread stopper([&] {
        int sig = 0;
        sigwait(&stopSignals, &sig);
        server.stop();
    });
    std::fprintf(stderr, "dpmgmt-exporter: serving /metrics on %s:%u\n", opts.host.c_str(), opts.port);
    const bool served = server.listen_after_bind();
    if (!served) {
        // The server ended by itself: wake the signal waiter so it can be joined.
        kill(getpid(), SIGTERM);
    }
    stopper.join();
    if (!collector.stop()) {
        // The reader is stuck on a silent peer: leave without waiting for it.
        std::fflush(nullptr);
        std::_Exit(served ? 0 : 1);
    }
    return served ? 0 : 1;
}
