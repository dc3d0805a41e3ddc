// SPDX-License-Identifier: Apache-2.0
// A writer of the Prometheus text exposition format, version 0.0.4.
#include "prom_text.h"

#include <charconv>
#include <cmath>
#include <cstdio>

namespace exporter {

namespace {

// HELP text: backslash and line feed escaped.
void append_help(std::string &out, std::string_view text) {
    for (char c : text) {
        if (c == '\\') out += "\\\\";
        else if (c == '\n') out += "\\n";
        else out += c;
    }
}

// Label values: backslash, double quote and line feed escaped.
void append_label_value(std::string &out, std::string_view text) {
    for (char c : text) {
        if (c == '\\') out += "\\\\";
        else if (c == '"') out += "\\\"";
        else if (c == '\n') out += "\\n";
        else out += c;
    }
}

}  // namespace

void PromText::family(std::string_view name, std::string_view type, std::string_view help) {
    name_.assign(name);
    out_ += "# HELP ";
    out_ += name;
    out_ += ' ';
    append_help(out_, help);
    out_ += "\n# TYPE ";
    out_ += name;
    out_ += ' ';
    out_ += type;
    out_ += '\n';
}

void PromText::head(std::span<const Label> common, std::initializer_list<Label> own, std::string_view suffix) {
    out_ += name_;
    out_ += suffix;
    char sep = '{';
    auto put = [&](const Label &l) {
        out_ += sep;
        sep = ',';
        out_ += l.name;
        out_ += "=\"";
        append_label_value(out_, l.value);
        out_ += '"';
    };
    for (const Label &l : common) put(l);
    for (const Label &l : own) put(l);
    if (sep == ',') out_ += '}';
    out_ += ' ';
}

void PromText::sample(std::span<const Label> common, std::initializer_list<Label> own, uint64_t value,
                      std::string_view suffix) {
    head(common, own, suffix);
    char buf[24];
    const int n = std::snprintf(buf, sizeof(buf), "%llu\n", static_cast<unsigned long long>(value));
    out_.append(buf, static_cast<size_t>(n));
}

void PromText::sample(std::span<const Label> common, std::initializer_list<Label> own, double value,
                      std::string_view suffix) {
    head(common, own, suffix);
    if (std::isnan(value)) {
        out_ += "NaN\n";
    } else if (std::isinf(value)) {
        out_ += value > 0 ? "+Inf\n" : "-Inf\n";
    } else {
        // The shortest text that reads back as the same number.
        char buf[40];
        const auto end = std::to_chars(buf, buf + sizeof(buf) - 1, value).ptr;
        *end = '\n';
        out_.append(buf, static_cast<size_t>(end + 1 - buf));
    }
}

}  // namespace exporter
