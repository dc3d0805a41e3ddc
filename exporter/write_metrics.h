// SPDX-License-Identifier: Apache-2.0
// Turns one scrape's snapshot into the exposition text.
#ifndef DPMGMT_EXPORTER_WRITE_METRICS_H
#define DPMGMT_EXPORTER_WRITE_METRICS_H

#include "prom_text.h"
#include "snapshot.h"

namespace exporter {

void write_metrics(const Snapshot &snap, PromText &out);

}  // namespace exporter

#endif
