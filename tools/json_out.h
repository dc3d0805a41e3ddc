// SPDX-License-Identifier: Apache-2.0
// Structured output: with -j, a display writes one JSON document on
// standard output instead of its text.  Every display registers a writer
// under its command keywords.  Documents are written as the walks hand the
// entries over (RapidJSON's Writer over the stdout stream), so a large
// table costs no more memory than its text.
#ifndef DPMGMT_TOOLS_JSON_OUT_H
#define DPMGMT_TOOLS_JSON_OUT_H

#include <rapidjson/filewritestream.h>
#include <rapidjson/writer.h>

#include <cstdint>
#include <initializer_list>

#include "cli.h"

namespace json {

// -j / --json given.
void set_enabled(bool on);
bool enabled();

struct Display {
    const char *keywords;  // as the text command registers them
    int (*run)(cli::Args &args);
};
// Adds JSON writers; returns true (for static initialisers).
bool add(std::initializer_list<Display> displays);

// Runs a command under -j: a display through its JSON writer (refused in
// one line should one have none), any other command as it is.
int run(const cli::Command &command, cli::Args &args);

// One document on standard output: the writer, flushed and ended with LF
// when the Document goes.
class Document {
public:
    explicit Document(const char *display);  // opens the top object with "display"
    ~Document();
    Document(const Document &) = delete;
    Document &operator=(const Document &) = delete;
    rapidjson::Writer<rapidjson::FileWriteStream> &w() { return writer_; }

    void key(const char *k) { writer_.Key(k); }
    void str(const char *k, const char *v) { writer_.Key(k); writer_.String(v); }
    void u(const char *k, uint64_t v) { writer_.Key(k); writer_.Uint64(v); }
    void i(const char *k, int64_t v) { writer_.Key(k); writer_.Int64(v); }
    void d(const char *k, double v) { writer_.Key(k); writer_.Double(v); }
    void b(const char *k, bool v) { writer_.Key(k); writer_.Bool(v); }
    void null(const char *k) { writer_.Key(k); writer_.Null(); }
    // The slot of a node, as the text heading names it.
    void slot(uint16_t node);
    // "<k>": ISO 8601 UTC text and "<k>_seconds": the seconds.
    void time(const char *k, uint32_t seconds);
    // An address of a family byte (2 IPv4 from the first 4 bytes,
    // otherwise IPv6), as text; "-" / "---" as the display when it cannot
    // be converted.
    void address(const char *k, uint8_t family, const uint8_t *addr);

private:
    char buffer_[65536];
    rapidjson::FileWriteStream stream_;
    rapidjson::Writer<rapidjson::FileWriteStream> writer_;
};

}  // namespace json

#endif
