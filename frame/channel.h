// Identity of a platform channel: (module, device, channel), the address by
// which the platform binds one channel to another. Every channel class of the
// module derives from Channel and is registered in Lua under "MPPChannel".
#pragma once

#include <lua.hpp>

#include "frame/binding.h"

/***
The module frame: what every part of `Tessel` has in common.

`require "tessel"` returns `true` and fills the global `Tessel`. Each platform module is a module
class of static functions and read-only limits (`Tessel.SYS`, `Tessel.VENC`, ...); its hardware
objects come only from its factories (`Get...`, `Create...`), never from a constructor, and
each call makes a fresh object (the write-back unit excepted). Platform structures are tables
keyed by the platform's field names (`u32Width`), read from zero: a missing or mistyped key leaves
its field 0. Enumerations are strings matched without regard to case, or the platform's raw number.

Failures come three ways. Most methods that read their own arguments (tables, names, optional
values) return `true`, a value or a table, or `nil` and a message "text [@Method: line N]", or
"text [@Method: line N - error=XXXXXXXX]" with the platform's code in hexadecimal when the platform
refused. __Typed methods__ (plain numbers and flags in, one number out) return the platform's status
itself: 0 for success, a negative integer otherwise, so `assert(status)` checks nothing (every
number is true in Lua): compare with 0. Object numbers out of range give `nil` and a diagnostic line
on standard error, "[MM-DD hh:mm:ss] (ERR) Function (line) message". Only arguments of the wrong Lua
type, and writes to properties or unknown keys, raise Lua errors. `require "tessel.errors"` names
any code: `errors.name(status)`, `errors.describe(message)`.

In typed methods a flag is Lua truth: __0 counts as true__; pass `false` to switch off.
@module frame
*/
namespace Tessel {

/***
The base class of every channel object: a processing group or channel, an encoder or decoder
channel, a capture, output or audio channel, the write-back unit.

Its properties are the platform's channel address, the triple by which `Tessel.SYS.Bind` joins
channels. Any channel object can be passed where a channel is expected (`SYS.Bind`, `SYS.GetBind`,
`SYS.SetMemConf`, `Region:AttachToChn`...), whatever module made it.

Equality: **two objects for one channel are not equal**. A value compared with itself, or an object a
module hands out again (the write-back unit), is equal; two objects from two `GetChannel(5)` calls
stand for the same channel and still compare unequal. Compare `MODID`, `DID` and `ID` instead.
@type MPPChannel
*/
class Channel {
 public:
  Channel(int modId, int devId, int chnId) : m_modId(modId), m_devId(devId), m_chnId(chnId) {}
  virtual ~Channel() {}

  /*** The channel number: 0 for a processing group, the write-back number for the write-back unit.
  @tfield int ID
  */
  int get_ID() const { return m_chnId; }
  /*** The device number: 0 for encoder and decoder channels; the group number for processing
  groups and their channels; the layer number for output channels; the device number for capture
  and audio channels; the write-back number for the write-back unit.
  @tfield int DID
  */
  int get_DID() const { return m_devId; }
  /*** The platform's module identifier: 16 capture ("VIU"), 7 processing ("VPSS"), 8 encoding
  ("VENC"), 5 decoding ("VDEC"), 15 output ("VOU"), 21 audio input ("AI"), 22 audio output ("AO");
  `Tessel.SYS.MODID2Name` gives the name.
  @tfield int MODID
  */
  int get_MODID() const { return m_modId; }

 protected:
  int m_modId;
  int m_devId;
  int m_chnId;
};

// Registers "MPPChannel" with its properties "ID", "DID" and "MODID"; must run
// before any channel class is registered.
void registerChannelBase(lua_State* L);

}  // namespace Tessel
