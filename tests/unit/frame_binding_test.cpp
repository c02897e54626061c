// What scripts see of bound classes: calls, argument checks, the binding
// layer's errors, object lifetime, and a clean stack and registry afterwards.
#include "frame/binding.h"
#include "frame/channel.h"
#include "lua_fixture.h"

namespace Tessel {
namespace {

int g_alive = 0;
int g_deleted = 0;

class Widget : public Channel, public RefCountedObjectType<int> {
 public:
  explicit Widget(int id) : Channel(8, 1, id) { ++g_alive; }
  ~Widget() override {
    --g_alive;
    ++g_deleted;
  }
  int Add(int a, unsigned int b) { return a + static_cast<int>(b); }
  const char* Echo(const char* s) { return s; }
  bool Not(bool b) { return !b; }
  int Other(Widget* w) { return w->get_ID(); }
  int Base(Channel* c) { return c->get_MODID(); }
  int Depth(int a, lua_State* L) { return a + lua_gettop(L); }
  int Raw(lua_State* L) {
    lua_pushinteger(L, lua_gettop(L));
    lua_pushstring(L, "two");
    return 2;
  }
  int get_Size() const { return 42; }
};

class Gadget : public RefCountedObjectType<int> {
 public:
  int Ping() { return 1; }
};

class Factory {
 public:
  static RefCountedObjectPtr<Widget> Make(int id) { return new Widget(id); }
  static RefCountedObjectPtr<Widget> None() { return nullptr; }
  static RefCountedObjectPtr<Gadget> MakeGadget() { return new Gadget(); }
  static int Twice(int v) { return 2 * v; }
  static int Same(int v) { return v; }
  static unsigned int SameUnsigned(unsigned int v) { return v; }
  static int get_Limit() { return 7; }
};

class BindingTest : public LuaTest {
 protected:
  void SetUp() override {
    LuaTest::SetUp();
    g_alive = g_deleted = 0;
    registerChannelBase(L);
    beginClass<Widget, Channel>(L, "Widget")
        .addProperty<&Widget::get_Size>("Size")
        .addFunction<&Widget::Add>("Add")
        .addFunction<&Widget::Echo>("Echo")
        .addFunction<&Widget::Not>("Not")
        .addFunction<&Widget::Other>("Other")
        .addFunction<&Widget::Base>("Base")
        .addFunction<&Widget::Depth>("Depth")
        .addCFunction<&Widget::Raw>("Raw");
    beginClass<Gadget>(L, "Gadget").addFunction<&Gadget::Ping>("Ping");
    beginClass<Factory>(L, "Factory")
        .addStaticProperty<&Factory::get_Limit>("Limit")
        .addStaticFunction<&Factory::Make>("Make")
        .addStaticFunction<&Factory::None>("None")
        .addStaticFunction<&Factory::MakeGadget>("MakeGadget")
        .addStaticFunction<&Factory::Twice>("Twice")
        .addStaticFunction<&Factory::Same>("Same")
        .addStaticFunction<&Factory::SameUnsigned>("SameUnsigned");
  }
};

TEST_F(BindingTest, TypedCallsConvertArgumentsAndResults) {
  EXPECT_EQ(eval("Tessel.Factory.Make(3):Add(2, 5)"), "7");
  EXPECT_EQ(eval("Tessel.Factory.Make(3):Add(2.0, 5)"), "7");
  EXPECT_EQ(eval("Tessel.Factory.Make(3):Echo('abc')"), "abc");
  EXPECT_EQ(eval("Tessel.Factory.Make(3):Echo(12)"), "12");
  EXPECT_EQ(eval("Tessel.Factory.Make(3):Not(nil)"), "true");
  EXPECT_EQ(eval("Tessel.Factory.Make(3):Not(0)"), "false");  // Lua truth: 0 is true
  EXPECT_EQ(eval("Tessel.Factory.Twice(21)"), "42");
  EXPECT_EQ(eval("Tessel.Factory.Limit"), "7");
  // lua_State* takes no stack position: the object, 10 -> 2 values.
  EXPECT_EQ(eval("Tessel.Factory.Make(3):Depth(10)"), "12");
  EXPECT_EQ(eval("select('#', Tessel.Factory.Make(3):Raw(1, 2))"), "2");
  EXPECT_EQ(eval("Tessel.Factory.Make(3):Raw(1, 2)"), "3");
}

TEST_F(BindingTest, IntegersOutsideAParametersRangeAreClampedNotWrapped) {
  EXPECT_EQ(eval("Tessel.Factory.Same(-5)"), "-5");
  EXPECT_EQ(eval("Tessel.Factory.Same(1 << 32)"), "2147483647");
  EXPECT_EQ(eval("Tessel.Factory.Same(-(1 << 40))"), "-2147483648");
  EXPECT_EQ(eval("Tessel.Factory.SameUnsigned(0xFFFFFFFF)"), "4294967295");
  EXPECT_EQ(eval("Tessel.Factory.SameUnsigned(1 << 33)"), "4294967295");
  EXPECT_EQ(eval("Tessel.Factory.SameUnsigned(-1)"), "0");
}

TEST_F(BindingTest, ChannelPropertiesReachDerivedClasses) {
  EXPECT_EQ(eval("Tessel.Factory.Make(5).ID"), "5");
  EXPECT_EQ(eval("Tessel.Factory.Make(5).DID"), "1");
  EXPECT_EQ(eval("Tessel.Factory.Make(5).MODID"), "8");
  EXPECT_EQ(eval("Tessel.Factory.Make(5).Size"), "42");
  EXPECT_EQ(eval("Tessel.Factory.Make(5).Nothing"), "nil");
  EXPECT_EQ(eval("Tessel.Factory.Make(5)[1]"), "nil");
  EXPECT_EQ(eval("Tessel.Factory.None()"), "nil");
}

TEST_F(BindingTest, ObjectArgumentsMustBeOfTheClassOrDerived) {
  EXPECT_EQ(eval("Tessel.Factory.Make(1):Other(Tessel.Factory.Make(9))"), "9");
  EXPECT_EQ(eval("Tessel.Factory.Make(1):Base(Tessel.Factory.Make(9))"), "8");
  EXPECT_NE(run("Tessel.Factory.Make(1):Other(Tessel.Factory.MakeGadget())")
                .find("bad argument #1 to 'Other' (Widget expected, got Gadget)"),
            std::string::npos);
  EXPECT_NE(run("Tessel.Factory.Make(1):Base({})").find("(MPPChannel expected, got table)"),
            std::string::npos);
  EXPECT_NE(run("Tessel.Factory.Make(1):Other(io.stdout)").find("(Widget expected, got userdata)"),
            std::string::npos);
  EXPECT_NE(run("local w = Tessel.Factory.Make(1); w.Add(Tessel.Factory.MakeGadget(), 1, 2)")
                .find("Widget expected, got Gadget"),
            std::string::npos);
}

TEST_F(BindingTest, TypedArgumentsRaiseLuasStandardErrors) {
  EXPECT_NE(run("Tessel.Factory.Twice('x')").find("bad argument #1 to 'Twice' (number expected, got string)"),
            std::string::npos);
  EXPECT_NE(run("Tessel.Factory.Twice(1.5)").find("number has no integer representation"),
            std::string::npos);
  EXPECT_NE(run("Tessel.Factory.Make(1):Add(1)").find("bad argument #2 to 'Add' (number expected, got no value)"),
            std::string::npos);
  EXPECT_NE(run("Tessel.Factory.Make(1):Echo({})").find("string expected, got table"),
            std::string::npos);
}

TEST_F(BindingTest, WritesToPropertiesAndUnknownKeysAreRefused) {
  EXPECT_NE(run("Tessel.Factory.Make(1).ID = 3").find("'ID' is read-only"), std::string::npos);
  EXPECT_NE(run("Tessel.Factory.Make(1).Size = 3").find("'Size' is read-only"), std::string::npos);
  EXPECT_NE(run("Tessel.Factory.Make(1).Foo = 3").find("no member named 'Foo'"), std::string::npos);
  EXPECT_NE(run("Tessel.Factory.Make(1).Add = 3").find("no member named 'Add'"), std::string::npos);
  EXPECT_NE(run("Tessel.Factory.Limit = 3").find("'Limit' is read-only"), std::string::npos);
  EXPECT_NE(run("Tessel.Factory.Bar = 3").find("no writable variable 'Bar'"), std::string::npos);
  EXPECT_NE(run("Tessel.Nope = 3").find("no writable variable 'Nope'"), std::string::npos);
  EXPECT_EQ(eval("Tessel.Factory.Unknown"), "nil");
  EXPECT_EQ(eval("Tessel.Unknown"), "nil");
  EXPECT_EQ(eval("getmetatable(Tessel.Factory.Make(1))"), "false");
}

TEST_F(BindingTest, EachFactoryCallIsANewWrapperAndCollectionDeletesOnce) {
  EXPECT_EQ(eval("Tessel.Factory.Make(5) == Tessel.Factory.Make(5)"), "false");
  run("collectgarbage() collectgarbage()");
  EXPECT_EQ(g_alive, 0);
  EXPECT_EQ(g_deleted, 2);

  run("keep = Tessel.Factory.Make(1)");
  run("collectgarbage()");
  EXPECT_EQ(g_alive, 1);
  run("keep = nil collectgarbage()");
  EXPECT_EQ(g_alive, 0);
}

TEST_F(BindingTest, ACollectedWrapperCalledAgainIsRefusedNotFollowed) {
  // A script with the debug library can run __gc by hand; the object must
  // not be reachable afterwards.
  std::string err = run(
      "local w = Tessel.Factory.Make(1)\n"
      "debug.getmetatable(w).__gc(w)\n"
      "w:Add(1, 2)");
  EXPECT_NE(err.find("Widget expected, got collected object"), std::string::npos) << err;
  run("collectgarbage()");
  EXPECT_EQ(g_deleted, 1);
}

TEST_F(BindingTest, FailingCallsLeaveStackAndRegistryAsTheyWere) {
  int before = registrySize(L);
  int top = lua_gettop(L);
  run("local w = Tessel.Factory.Make(1)\n"
      "for i = 1, 500 do\n"
      "  pcall(w.Add, w, 'x')\n"
      "  pcall(w.Other, w, {})\n"
      "  pcall(function() w.ID = 1 end)\n"
      "  pcall(Tessel.Factory.Twice, 0.5)\n"
      "end");
  run("collectgarbage()");
  EXPECT_EQ(lua_gettop(L), top);
  EXPECT_EQ(registrySize(L), before);
  EXPECT_EQ(g_alive, 0);
}

using RefCountDeathTest = BindingTest;

TEST_F(RefCountDeathTest, ReleasingAZeroCountStopsTheProcess) {
  EXPECT_DEATH(
      {
        Widget w(1);
        w.decReferenceCount();
      },
      "getReferenceCount\\(\\) > 0");
  EXPECT_DEATH(
      {
        auto* w = new Widget(1);
        w->incReferenceCount();
        delete w;
      },
      "getReferenceCount\\(\\) == 0");
}

}  // namespace
}  // namespace Tessel
