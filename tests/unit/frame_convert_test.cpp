// Conversions between Lua values and platform structures: the declared-field
// engine, the common types, and the failure texts.
#include <cstring>
#include <ctime>
#include <string>

#include "frame/common_types.h"
#include "frame/errors.h"
#include "lua_fixture.h"

namespace {

enum Mood { MOOD_CALM = 0, MOOD_BUSY = 1, MOOD_BUTT = 2 };

struct Sample {
  HI_U32 u32Count;
  HI_S32 s32Offset;
  HI_U8 u8Small;
  HI_U64 u64Big;
  HI_BOOL bOn;
  HI_BOOL bFlag;  // declared with FLAG: 1 or 0
  Mood enMood;
  SIZE_S stSize;
  HI_U32 u32Rate;
  HI_U32 u32Skipped;  // not declared: stays zero
};

const Tessel::EnumRow kMoodRows[] = {
    {0, "CALM", Tessel::kBoth}, {1, "BUSY", Tessel::kBoth}, {1, "HECTIC", Tessel::kInOnly}};
const Tessel::EnumDesc kMoods = {kMoodRows, 3, Tessel::Miss::Throw, 0, "Unknown mood",
                                 Tessel::Miss::Throw, 0, "Invalid mood", "UNKNOWN"};

}  // namespace

TESSEL_DECLARE_ENUM(Mood)
TESSEL_ENUM(Mood, kMoods)
TESSEL_DECLARE_STRUCT(Sample)
TESSEL_STRUCT(Sample, F(u32Count), F(s32Offset), F(u8Small), F(u64Big), F(bOn), FLAG(bFlag), F(enMood),
              F(stSize), FIELD(u32Rate, "u32Rate", "u32Rate "))

namespace Tessel {
namespace {

class ConvertTest : public LuaTest {
 protected:
  // Converts the value of a Lua expression; returns the exception text, or "".
  template <class T>
  std::string from(const std::string& expr, T* out) {
    EXPECT_EQ(luaL_dostring(L, ("return " + expr).c_str()), LUA_OK) << lua_tostring(L, -1);
    int top = lua_gettop(L);
    std::string err;
    try {
      read(L, -1, out);
    } catch (MPPConvException& e) {
      err = e.what();
    }
    EXPECT_EQ(lua_gettop(L), top) << "conversion left the stack unbalanced";
    lua_settop(L, 0);
    return err;
  }

  // Pushes the table form of v and returns a Lua expression's value over it (as t).
  template <class T>
  std::string to(const T& v, const std::string& expr) {
    push(L, v);
    lua_setglobal(L, "t");
    return eval(expr);
  }
};

TEST_F(ConvertTest, DeclaredStructureReadsEachKindAndZeroesTheRest) {
  Sample s;
  std::memset(&s, 0xAB, sizeof s);
  EXPECT_EQ(from("{u32Count = 4000000000, s32Offset = -5, u8Small = 300, u64Big = 1 << 40,"
                 " bOn = true, enMood = 'busy', stSize = {640, 480}, u32Rate = 25.0}",
                 &s),
            "");
  EXPECT_EQ(s.u32Count, 4000000000u);
  EXPECT_EQ(s.s32Offset, -5);
  EXPECT_EQ(s.u8Small, 300 & 0xFF);
  EXPECT_EQ(s.u64Big, 1ull << 40);
  EXPECT_EQ(s.bOn, HI_TRUE);
  EXPECT_EQ(s.enMood, MOOD_BUSY);
  EXPECT_EQ(s.stSize.u32Width, 640u);
  EXPECT_EQ(s.stSize.u32Height, 480u);
  EXPECT_EQ(s.u32Rate, 25u);
  EXPECT_EQ(s.u32Skipped, 0u);

  // Absent keys, misspelt keys and values of the wrong kind all leave zero.
  EXPECT_EQ(from("{u32count = 1, s32Offset = '7', bOn = 'yes', stSize = 5, enMood = nil}", &s), "");
  EXPECT_EQ(s.u32Count, 0u);
  EXPECT_EQ(s.s32Offset, 0);
  EXPECT_EQ(s.bOn, 0);
  EXPECT_EQ(s.stSize.u32Width, 0u);

  // A number in an HI_BOOL field is stored as it is; in a FLAG field as 1 or 0.
  EXPECT_EQ(from("{bOn = 5, bFlag = -5}", &s), "");
  EXPECT_EQ(static_cast<int>(s.bOn), 5);
  EXPECT_EQ(static_cast<int>(s.bFlag), 1);
  EXPECT_EQ(from("{bOn = 0, bFlag = 0.0}", &s), "");
  EXPECT_EQ(static_cast<int>(s.bFlag), 0);
  EXPECT_EQ(from("{bFlag = true}", &s), "");
  EXPECT_EQ(static_cast<int>(s.bFlag), 1);
  EXPECT_EQ(to(s, "t.bFlag"), "true");
}

TEST_F(ConvertTest, DeclaredStructureFailures) {
  Sample s;
  EXPECT_EQ(from("42", &s), "Sample must be a table for structure convension");
  EXPECT_EQ(from("{enMood = 'ANGRY'}", &s), "Unknown mood");
  EXPECT_EQ(from("{enMood = true}", &s), "Invalid mood");
  EXPECT_EQ(from("{stSize = {640}}", &s), "Invalid fields");
  // A fraction in an integer field is Lua's own error, not a conversion failure.
  lua_pushcfunction(L, [](lua_State* L) -> int {
    Sample s;
    lua_newtable(L);
    lua_pushnumber(L, 1.5);
    lua_setfield(L, -2, "u32Count");
    Tessel::read(L, -1, &s);
    return 0;
  });
  ASSERT_NE(lua_pcall(L, 0, 0, 0), LUA_OK);
  EXPECT_NE(std::string(lua_tostring(L, -1)).find("number has no integer representation"),
            std::string::npos);
}

TEST_F(ConvertTest, DeclaredStructureWritesEveryFieldUnderItsOutputKey) {
  Sample s{};
  s.u32Count = 4000000000u;
  s.s32Offset = -1;
  s.bOn = HI_TRUE;
  s.enMood = static_cast<Mood>(9);
  s.stSize = {1920, 1080};
  s.u32Rate = 30;
  EXPECT_EQ(to(s, "t.u32Count"), "4000000000");
  EXPECT_EQ(to(s, "t.s32Offset"), "-1");
  EXPECT_EQ(to(s, "t.bOn"), "true");
  EXPECT_EQ(to(s, "t.enMood"), "UNKNOWN");
  EXPECT_EQ(to(s, "t.stSize.u32Height"), "1080");
  EXPECT_EQ(to(s, "t['u32Rate ']"), "30");
  EXPECT_EQ(to(s, "t.u32Rate"), "nil");
  EXPECT_EQ(to(s, "t.u32Skipped"), "nil");
}

TEST_F(ConvertTest, SmallStructuresTakeArrayOrNamedForms) {
  SIZE_S a, b;
  EXPECT_EQ(from("{1920, 1080}", &a), "");
  EXPECT_EQ(from("{u32Width = 1920, u32Height = 1080}", &b), "");
  EXPECT_EQ(std::memcmp(&a, &b, sizeof a), 0);
  EXPECT_EQ(from("{1920}", &a), "Invalid fields");
  EXPECT_EQ(from("1920", &a), "Invalid size structure");

  POINT_S p;
  EXPECT_EQ(from("{10, s32Y = 20}", &p), "");
  EXPECT_EQ(p.s32X, 10);
  EXPECT_EQ(p.s32Y, 20);
  EXPECT_EQ(from("'x'", &p), "Invalid point structure");
  EXPECT_EQ(from("{1}", &p), "Invalid fields");

  RECT_S r;
  EXPECT_EQ(from("{1, 2, u32Width = 3, u32Height = 4}", &r), "");
  EXPECT_EQ(r.u32Height, 4u);
  EXPECT_EQ(from("{1, 2, 3}", &r), "Invalid rect structure");
  EXPECT_EQ(from("nil", &r), "Invalid rect structure");

  BORDER_S bd;
  EXPECT_EQ(from("{1, 2, 3, 4}", &bd), "");
  EXPECT_EQ(bd.u32RightWidth, 4u);
  EXPECT_EQ(from("{}", &bd), "Invalid BORDER_S fields");
  EXPECT_EQ(from("true", &bd), "Invalid border structure");

  EXPECT_EQ(to(RECT_S{-1, 2, 3, 4}, "t.s32X + t.s32Y + t.u32Width + t.u32Height"), "8");
  EXPECT_EQ(to(BORDER_S{1, 2, 3, 4, 99}, "t.u32Color"), "nil");
  EXPECT_EQ(to(POINT_S{5, 6}, "t.s32Y"), "6");
}

TEST_F(ConvertTest, AspectRatioForms) {
  ASPECT_RATIO_S a;
  std::memset(&a, 0x11, sizeof a);
  EXPECT_EQ(from("nil", &a), "");
  EXPECT_EQ(a.u32BgColor, 0x11111111u);  // untouched
  EXPECT_EQ(from("'auto'", &a), "");
  EXPECT_EQ(a.enMode, ASPECT_RATIO_AUTO);
  EXPECT_EQ(a.u32BgColor, 0u);
  EXPECT_EQ(from("'whatever'", &a), "");
  EXPECT_EQ(a.enMode, ASPECT_RATIO_MANUAL);
  EXPECT_EQ(from("{enMode = 'NONE', u32BgColor = 255, stVideoRect = {1, 2, 3, 4}}", &a), "");
  EXPECT_EQ(a.enMode, ASPECT_RATIO_NONE);
  EXPECT_EQ(a.u32BgColor, 255u);
  EXPECT_EQ(a.stVideoRect.u32Width, 3u);
  EXPECT_EQ(from("{stVideoRect = {1}}", &a), "Invalid rect structure");

  a = ASPECT_RATIO_S{static_cast<ASPECT_RATIO_E>(7), 5, {1, 2, 3, 4}};
  EXPECT_EQ(to(a, "t.enMode .. t.u32BgColor .. t.stVideoRect.u32Height"), "MANUAL54");
}

TEST_F(ConvertTest, VideoEnumerations) {
  VIDEO_FIELD_E f;
  EXPECT_EQ(from("'both'", &f), "");
  EXPECT_EQ(f, VIDEO_FIELD_FRAME);
  EXPECT_EQ(from("'PROGRESSIVE'", &f), "");
  EXPECT_EQ(static_cast<int>(f), 5);
  EXPECT_EQ(from("{}", &f), "Invalid video field type");
  EXPECT_EQ(to(VIDEO_FIELD_FRAME, "t"), "FRAME");
  EXPECT_EQ(to(static_cast<VIDEO_FIELD_E>(0), "t"), "nil");

  VIDEO_FORMAT_E v;
  EXPECT_EQ(from("'tile64'", &v), "");
  EXPECT_EQ(static_cast<int>(v), 2);
  EXPECT_EQ(from("false", &v), "Invalid video format");
  COMPRESS_MODE_E c;
  EXPECT_EQ(from("'SEG128'", &c), "");
  EXPECT_EQ(static_cast<int>(c), 2);
  EXPECT_EQ(from("'zip'", &c), "");
  EXPECT_EQ(static_cast<int>(c), 5);
  EXPECT_EQ(from("nil", &c), "Invalid compress mode");
  EXPECT_EQ(to(static_cast<COMPRESS_MODE_E>(4), "t"), "FRAME");
}

TEST_F(ConvertTest, PixelFormatsNeverThrow) {
  PIXEL_FORMAT_E p;
  EXPECT_EQ(from("'yuv_semiplanar_420'", &p), "");
  EXPECT_EQ(static_cast<int>(p), 23);
  EXPECT_EQ(from("'NV12'", &p), "");
  EXPECT_EQ(static_cast<int>(p), 30);
  EXPECT_EQ(from("23.0", &p), "");
  EXPECT_EQ(static_cast<int>(p), 23);
  EXPECT_EQ(from("true", &p), "");
  EXPECT_EQ(static_cast<int>(p), 30);
  EXPECT_EQ(from("nil", &p), "");
  EXPECT_EQ(static_cast<int>(p), 30);
  EXPECT_EQ(from("'invalid'", &p), "");  // the end row is output only
  EXPECT_EQ(static_cast<int>(p), 30);
  EXPECT_EQ(to(static_cast<PIXEL_FORMAT_E>(0), "t"), "RGB_1BPP");
  EXPECT_EQ(to(static_cast<PIXEL_FORMAT_E>(30), "t"), "invalid");
  EXPECT_EQ(to(static_cast<PIXEL_FORMAT_E>(31), "t"), "nil");
}

TEST_F(ConvertTest, PayloadTypes) {
  PAYLOAD_TYPE_E p;
  EXPECT_EQ(from("'h264'", &p), "");
  EXPECT_EQ(static_cast<int>(p), 96);
  EXPECT_EQ(from("'mjpeg'", &p), "");
  EXPECT_EQ(static_cast<int>(p), 1002);
  EXPECT_EQ(from("'VP6\\t'", &p), "");
  EXPECT_EQ(static_cast<int>(p), 261);
  EXPECT_EQ(from("'VP6'", &p), "Unknown payload type");
  EXPECT_EQ(from("nil", &p), "Invalid payload type");
  EXPECT_EQ(from("{}", &p), "Invalid payload type");
  EXPECT_EQ(from("4242", &p), "");
  EXPECT_EQ(static_cast<int>(p), 4242);
  EXPECT_EQ(to(static_cast<PAYLOAD_TYPE_E>(261), "t == 'VP6\\t'"), "true");
  EXPECT_EQ(to(static_cast<PAYLOAD_TYPE_E>(24), "t"), "invalid");
  EXPECT_EQ(to(static_cast<PAYLOAD_TYPE_E>(265), "t"), "H265");
}

TEST_F(ConvertTest, MessagesAreCutAt255Characters) {
  std::string longText(400, 'x');
  MPPConvException e(longText.c_str());
  EXPECT_EQ(std::strlen(e.what()), 255u);

  EXPECT_EQ(pushFailure(L, "Fail to set", "SetAttr", 12, static_cast<std::int32_t>(0xA0088003)), 2);
  EXPECT_TRUE(lua_isnil(L, -2));
  EXPECT_STREQ(lua_tostring(L, -1), "Fail to set [@SetAttr: line 12 - error=A0088003]");
  pushFailure(L, "x", "Query", 7, 1);
  EXPECT_STREQ(lua_tostring(L, -1), "x [@Query: line 7 - error=00000001]");
  pushFailure(L, "Invalid arguments", "SetCrop", 99);
  EXPECT_STREQ(lua_tostring(L, -1), "Invalid arguments [@SetCrop: line 99]");
  pushFailure(L, longText.c_str(), "SetAttr", 1);
  EXPECT_EQ(lua_rawlen(L, -1), 255u);
  lua_settop(L, 0);
}

TEST(DebugTimeTest, StampHasMonthDayAndTimeOnly) {
  std::tm tm{};
  tm.tm_mon = 2;
  tm.tm_mday = 5;
  tm.tm_hour = 9;
  tm.tm_min = 4;
  tm.tm_sec = 7;
  char buf[32];
  EXPECT_STREQ(formatTimeStamp(tm, buf), "[03-05 09:04:07]");
  std::ostringstream os;
  os << _TESSEL_DBG_TIME << "x";
  EXPECT_EQ(os.str().size(), std::strlen("[03-05 09:04:07] x"));
}

}  // namespace
}  // namespace Tessel
