// Module class SYS: start and stop of the media platform, its version, the
// binding of one channel's output to another channel's input, the memory zone
// of a channel and the platform time base (PTS).
#pragma once

#include <lua.hpp>

#include "frame/channel.h"

/***
System control: `Tessel.SYS` starts and stops the media platform and joins channels.

A script lays out the common buffer pools first (`Tessel.VB.Config`, `Tessel.VB.Init`), then calls
`Tessel.SYS.Init()`. `Bind` sends one channel's output to another channel's input; a channel is
named by a channel object of any module or by a sequence `{module, device, channel}` whose module
is a name from the platform's table ("VIU", "VPSS", "VENC", "VDEC", "VOU", ...) or its number.
Time stamps (PTS) are sequences `{high, low}` of two 32-bit halves.
@module sys
*/
namespace Tessel {

/***
The module class `Tessel.SYS`: static functions only.

Its results come in **three styles**: `Init`, `Exit`, `CloseFd`, `SetMemConf` and
`SetMemConfByID` return the platform's status (0 for success, a negative code otherwise);
`GetMemConf`, `Bind`, `UnBind`, `GetBind`, `InitPtsBase` and `SyncPts` return `nil` and a message
on failure; `GetVersion` and `GetCurrentPts` return a single `nil`, without a reason.
@type SYS
*/
class SYS {
 public:
  /*** The number of a module name (case-sensitive: "VENC" is 8, "venc" unknown).
  @function Name2MODID
  @static
  @string name a name such as "VIU", "VPSS", "VENC", "VDEC", "VOU", "AI", "AO"
  @treturn int the module number; 52, the end of the table, for a name it does not hold
  */
  static int Name2MODID(const char* name);
  /*** The name of a module number.
  @function MODID2Name
  @static
  @int id module number, such as a channel's `MODID`
  @treturn string the name (0 is "CMPI", 8 "VENC"); "invalid" for a number without a name
  (30, 37, 52 and up, negatives)
  */
  static const char* MODID2Name(int id);

  /*** Starts the media platform: sets the system configuration with an alignment width of 16
  (`HI_MPI_SYS_SetConf`, whose refusal is ignored), then `HI_MPI_SYS_Init`. Lay out the buffer
  pools before (`Tessel.VB.Config`, `Tessel.VB.Init`).
  @function Init
  @static
  @treturn int 0, or the platform's error code (negative) of `HI_MPI_SYS_Init`
  @usage assert(Tessel.SYS.Init() == 0)
  */
  static int Init();
  /*** Stops the media platform (`HI_MPI_SYS_Exit`).
  @function Exit
  @static
  @treturn int 0 or the platform's error code
  */
  static int Exit();
  /*** The platform's version text (`HI_MPI_SYS_GetVersion`).
  @function GetVersion
  @static
  @treturn string the version, such as `"Hi3531D_MPP_V1.0.5.0 B040 Release"`; a single `nil` when
  the call fails
  */
  static int GetVersion(lua_State* L);

  /*** Chooses the memory zone of a channel's buffers (`HI_MPI_SYS_SetMemConf`).
  @function SetMemConf
  @static
  @tparam MPPChannel chn a channel object of any module (another object raises
  "MPPChannel expected, got ...")
  @string[opt] zone memory-zone name; `nil` or none for the default zone
  @treturn int 0 or the platform's error code
  */
  static int SetMemConf(Channel* chn, lua_State* L);
  /*** Chooses the memory zone of a channel given by numbers (`HI_MPI_SYS_SetMemConf`).
  @function SetMemConfByID
  @static
  @int modId module number (a number only: use `Name2MODID` for a name)
  @int devId device number
  @int chnId channel number
  @string[opt] zone memory-zone name; `nil` or none for the default zone
  @treturn int 0 or the platform's error code
  */
  static int SetMemConfByID(int modId, int devId, int chnId, lua_State* L);
  /*** The memory zone of a channel (`HI_MPI_SYS_GetMemConf`), given as one channel object or as
  module (name or number), device and channel.
  @function GetMemConf
  @static
  @param ... a channel object, or `modId, devId, chnId`
  @treturn string the zone name, "" for the default zone; or `nil` and
  "Invalid channel object passed!" (a userdata that is no channel), "Invalid arguments passed!"
  (anything else that is not a known module and two numbers), or "Fail to get mem configure" with
  the code
  @usage local zone = Tessel.SYS.GetMemConf("VENC", 0, 1)
  */
  static int GetMemConf(lua_State* L);

  /*** Sends the output of a source channel to the input of a destination (`HI_MPI_SYS_Bind`).
  Each is a channel object or a sequence `{module, device, channel}`, module a name or a number.
  The source is read entirely before the destination.
  @function Bind
  @static
  @tparam MPPChannel|table source
  @tparam MPPChannel|table destination
  @treturn bool|nil `true`, or `nil` and "Invalid from channel object" (a userdata not made by this module),
  "Invalid from channel parameters" (fewer than three elements, or neither object nor table),
  "Invalid from channel mod ID" (an unknown module name), the same three with "to" for the
  destination, or "Fail to bind channel" with the code. An object of this module that is no
  channel (a `Pool`) raises "MPPChannel expected, got Pool", and a device or channel element that
  is no number raises "number expected at [2], got ..."
  @usage assert(Tessel.SYS.Bind({"VIU", 0, 0}, vpssGroup))
  */
  static int Bind(lua_State* L);
  /*** Undoes a binding (`HI_MPI_SYS_UnBind`); arguments as for `Bind`.
  @function UnBind
  @static
  @tparam MPPChannel|table source
  @tparam MPPChannel|table destination
  @treturn bool|nil `true`, or `nil` and the texts of `Bind`'s arguments, or "Fail to unbind channel" with
  the code
  */
  static int UnBind(lua_State* L);
  /*** The source bound to a destination channel (`HI_MPI_SYS_GetBindbyDest`).
  @function GetBind
  @static
  @tparam MPPChannel|table destination a channel object or `{module, device, channel}`
  @treturn table `{moduleName, device, channel}`, the module as its name ("invalid" for a number
  without one); or `nil` and "Invalid channel object passed!", "Invalid channel parameters",
  "Invalid channel mod ID", or "Fail to get bind" with the code
  */
  static int GetBind(lua_State* L);

  /*** Closes the system's file descriptor (`HI_MPI_SYS_CloseFd`).
  @function CloseFd
  @static
  @treturn int 0 or the platform's error code
  */
  static int CloseFd();

  /*** Sets the platform's time base (`HI_MPI_SYS_InitPtsBase`).
  @function InitPtsBase
  @static
  @tparam table pts `{high, low}`, the upper and lower 32 bits of the 64-bit stamp
  @treturn bool|nil `true`, or `nil` and "Invalid PTS struct table" (not a table) or "InitPtsBase() fail"
  with the code; an element that is no number raises "number expected at [1], got ..."
  */
  static int InitPtsBase(lua_State* L);
  /*** Adjusts the platform's time base (`HI_MPI_SYS_SyncPts`).
  @function SyncPts
  @static
  @tparam table pts `{high, low}`, as `GetCurrentPts` returns it
  @treturn bool|nil `true`, or `nil` and "Invalid PTS struct table" or "SyncPts() fail" with the code
  */
  static int SyncPts(lua_State* L);
  /*** The platform's current time stamp (`HI_MPI_SYS_GetCurPts`).
  @function GetCurrentPts
  @static
  @treturn table `{high, low}`, the upper and lower 32 bits; a single `nil` when the call fails
  */
  static int GetCurrentPts(lua_State* L);

  /*** Waits until one of several objects has data to read: encoder channels (their stream),
  capture channels, any object with a `GetFd` method answering a descriptor (0 or more). Each
  object's `GetFd` is called, in order, through Lua; a value that has none (a number, a string,
  an object of a class without one, a table without the key) or whose `GetFd` answers no
  descriptor (a negative code, a non-number) is skipped. An error raised by a `GetFd` is raised
  by `Poll`. The wait itself is the C library's `poll` on a board; on the host, the simulated
  platform runs while it waits.
  @function Poll
  @static
  @tparam table objects a sequence of objects (read raw, from 1 to its length); another value raises
  @int timeout milliseconds to wait: -1 (or any negative) as long as it takes, 0 not at all;
  a value that is no integer raises
  @treturn table a new sequence of the objects that have data, in the order given (the same
  values); empty when the time ran out. An object whose descriptor reports an error or was closed
  counts as ready, so that its next read reports what went wrong. Or `nil` and
  "No object to poll" when no object gave a descriptor (nothing is waited for), or
  "Fail to poll: REASON" with the system's words
  @usage local ready = Tessel.SYS.Poll({main, sub}, 1000)
  for _, chn in ipairs(ready) do sink(chn, chn:GetStream(0)) end
  */
  static int Poll(lua_State* L);
};

}  // namespace Tessel
