// SPDX-License-Identifier: Apache-2.0
// Internal state of the fake platform, shared by its source files.
#ifndef TESTS_FAKE_FAKE_STATE_H
#define TESTS_FAKE_FAKE_STATE_H

#include <map>
#include <set>
#include <string>
#include <utility>

#include "fake/fake_platform.h"

namespace fake {

// A sorted-list walk: the index of the next element.
struct Iterator {
    size_t next = 0;
};

struct Database {
    std::string name;
    std::map<std::string, DbEntry> entries;  // key bytes (NUL included) -> entry
};

struct State {
    std::vector<Call> calls;
    std::map<uint32_t, std::vector<std::deque<Pull>>> dumpScripts;
    std::set<uint32_t> failedDumps;
    std::set<std::pair<uint32_t, uint16_t>> failedNodeDumps;
    std::map<uint32_t, std::deque<Pull>> openDumps;  // handle -> remaining pulls
    uint32_t nextHandle = 1;
    uint32_t overstate = 0;
    std::map<uint32_t, std::deque<Control>> controls;
    SocketScript sockets;
    SocketLog socketLog;
    Hooks hooks;
    std::map<uint64_t, Database> databases;
    std::map<std::string, uint64_t> handlesByName;
    uint64_t nextDb = 100;
    std::set<Iterator *> iterators;
};

State &state();
Call &record(const char *name, std::initializer_list<uint64_t> args, const void *bytes = nullptr, size_t len = 0,
             const char *text = nullptr);

}  // namespace fake

#endif
