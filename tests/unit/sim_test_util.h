// Helpers shared by the simulator's unit tests.
#pragma once

#include <gtest/gtest.h>

#include "sim/sim.h"
#include "tests/support/sim_pipeline.h"

// Every simulator test starts from power-on, with buffer pools and the
// system up (modules make no objects before) and an empty journal.
class SimTest : public ::testing::Test {
protected:
    void SetUp() override {
        sim::reset();
        startSystem();
    }
    static void startSystem() {
        ASSERT_TRUE(simtest::startSystem());
        sim::journal_clear();
    }
    void TearDown() override { sim::reset(); }

    static const sim::Entry& last() { return sim::journal_entry(sim::journal_size() - 1); }
    // A field path such as {"stVeAttr", "stAttrH264e", "u32PicWidth"}; null if absent.
    static const sim::Value* at(const sim::Value& v, std::initializer_list<const char*> path) {
        const sim::Value* cur = &v;
        for (const char* name : path)
            if (!cur || !(cur = cur->field(name))) return nullptr;
        return cur;
    }
};
