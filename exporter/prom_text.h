// SPDX-License-Identifier: Apache-2.0
// A writer of the Prometheus text exposition format, version 0.0.4: one
// family at a time (its HELP and TYPE lines, then its samples), label values
// escaped, LF line ends.
#ifndef DPMGMT_EXPORTER_PROM_TEXT_H
#define DPMGMT_EXPORTER_PROM_TEXT_H

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>

namespace exporter {

struct Label {
    std::string_view name;
    std::string_view value;
};

class PromText {
public:
    static constexpr const char *kContentType = "text/plain; version=0.0.4; charset=utf-8";

    // Starts a family; type is "counter", "gauge" or "histogram".
    void family(std::string_view name, std::string_view type, std::string_view help);
    // One sample of the current family; suffix extends its name (histograms'
    // _bucket, _sum and _count).
    // The labels are those of `common` followed by those of `own`.
    void sample(std::span<const Label> common, std::initializer_list<Label> own, uint64_t value,
                std::string_view suffix = {});
    void sample(std::span<const Label> common, std::initializer_list<Label> own, double value,
                std::string_view suffix = {});

    const std::string &text() const { return out_; }
    void reserve(size_t bytes) { out_.reserve(bytes); }

private:
    void head(std::span<const Label> common, std::initializer_list<Label> own, std::string_view suffix);

    std::string out_;
    std::string name_;
};

}  // namespace exporter

#endif
