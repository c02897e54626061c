// The simulator's state store: objects, attributes, bindings and the DOT view.
#include "sim_test_util.h"

namespace {

using SimState = SimTest;

const sim::Key kVi{HI_ID_VIU, 0, 0}, kGrp{HI_ID_VPSS, 1, 0}, kVenc0{HI_ID_VENC, 0, 0},
    kVenc1{HI_ID_VENC, 0, 1};

TEST_F(SimState, ObjectsExistFromObtainUntilDestroy) {
    EXPECT_EQ(sim::find(kGrp), nullptr);
    sim::Object& o = sim::obtain(kGrp);
    EXPECT_FALSE(o.created || o.enabled || o.started);
    o.started = true;
    EXPECT_TRUE(sim::obtain(kGrp).started);  // the same object
    EXPECT_EQ(sim::objects(HI_ID_VPSS).size(), 1u);
    sim::destroy(kGrp);
    EXPECT_EQ(sim::find(kGrp), nullptr);
}

TEST_F(SimState, AGetReturnsWhatASetStored) {
    sim::Object& o = sim::obtain(kVenc0);
    VENC_FRAME_RATE_S in = {25, 30}, out = {0, 0};
    EXPECT_FALSE(o.get("FrameRate", &out));
    o.put("FrameRate", in);
    ASSERT_TRUE(o.get("FrameRate", &out));
    EXPECT_EQ(out.s32SrcFrmRate, 25);
    EXPECT_EQ(out.s32DstFrmRate, 30);
    HI_U32 wrong_size;
    EXPECT_FALSE(o.get("FrameRate", &wrong_size));
}

TEST_F(SimState, ModuleSettingsCanGateOtherCalls) {
    // e.g. "regions configured" as a settings object of RGN
    const sim::Key regions{HI_ID_RGN, -1, -1};
    EXPECT_EQ(sim::find(regions), nullptr);
    sim::obtain(regions).values["max_regions"] = 4;
    EXPECT_EQ(sim::find(regions)->values.at("max_regions"), 4);
    EXPECT_EQ(sim::dot().find("RGN"), std::string::npos);  // settings are not drawn
}

TEST_F(SimState, ADestinationHasOneSourceAndASourceManyDestinations) {
    EXPECT_TRUE(sim::bind(kGrp, kVenc0));
    EXPECT_TRUE(sim::bind(kGrp, kVenc1));
    EXPECT_FALSE(sim::bind(kVi, kVenc0));
    sim::Key src{};
    ASSERT_TRUE(sim::source_of(kVenc0, &src));
    EXPECT_TRUE(src == kGrp);
    EXPECT_EQ(sim::destinations(kGrp).size(), 2u);
    EXPECT_FALSE(sim::unbind(kVi, kVenc0));
    EXPECT_TRUE(sim::unbind(kGrp, kVenc0));
    EXPECT_FALSE(sim::source_of(kVenc0, &src));
}

TEST_F(SimState, DestroyingAnObjectDropsItsBindings) {
    sim::obtain(kGrp);
    sim::bind(kVi, kGrp);
    sim::bind(kGrp, kVenc0);
    sim::destroy(kGrp);
    EXPECT_TRUE(sim::destinations(kVi).empty());
    sim::Key src;
    EXPECT_FALSE(sim::source_of(kVenc0, &src));
}

TEST_F(SimState, DotHasOneNodePerObjectAndOneEdgePerBinding) {
    sim::obtain(kVi).enabled = true;
    sim::obtain(kGrp);
    sim::obtain(kVenc0);
    sim::bind(kVi, kGrp);
    sim::bind(kGrp, kVenc0);
    const std::string d = sim::dot();
    auto count = [&](const std::string& what) {
        size_t n = 0;
        for (size_t p = d.find(what); p != std::string::npos; p = d.find(what, p + 1)) ++n;
        return n;
    };
    EXPECT_EQ(d.rfind("digraph", 0), 0u);
    EXPECT_EQ(count("[label=") - count("\"legend_"), 3u);
    EXPECT_EQ(count("->"), 2u);
    EXPECT_NE(d.find("\"16_0_0\" -> \"7_1_0\""), std::string::npos);
    EXPECT_NE(d.find("label=\"VENC 0/0\""), std::string::npos);
}

}  // namespace
