// Module class VPSS and the registration of the processing classes.
#include "frame/methods.h"
#include "frame/modules.h"
#include "video/vpss/vpss.h"

namespace Tessel {
namespace {

// Negative numbers count as large ones.
bool validGroup(lua_Integer grp) {
  if (static_cast<lua_Unsigned>(grp) < kVpssMaxGroups) return true;
  TESSEL_DIAG_AS("GetGroup", "VPSS group id is out of range, valid range is [0," << kVpssMaxGroups << ")");
  return false;
}

}  // namespace

RefCountedObjectPtr<VPSSGroup> VPSS::GetGroup(lua_Integer grp) {
  if (!validGroup(grp)) return nullptr;
  return new VPSSGroup(static_cast<int>(grp));
}

// The group is returned whether or not the platform created it.
RefCountedObjectPtr<VPSSGroup> VPSS::CreateGroup(lua_Integer grp, lua_State* L) {
  if (!validGroup(grp)) return nullptr;
  return createWith(L, new VPSSGroup(static_cast<int>(grp)));
}

// Cleans up a group left by an earlier process. Channel 0 is disabled four
// times over; the other channels are left as they are.
int VPSS::ForceFreeGroup(int grp) {
  for (int i = 0; i < kVpssMaxChannels; ++i) HI_MPI_VPSS_DisableChn(grp, 0);
  return HI_MPI_VPSS_DestroyGrp(grp);
}

void VPSS_Register(lua_State* L) {
  beginClass<VPSSChannel, Channel>(L, "VPSSChannel")
      .addFunction<&VPSSChannel::Enable>("Enable")
      .addFunction<&VPSSChannel::Disable>("Disable")
      .addCFunction<&VPSSChannel::SetAttr>("SetAttr")
      .addCFunction<&VPSSChannel::GetAttr>("GetAttr")
      .addCFunction<&VPSSChannel::SetParam>("SetParam")
      .addCFunction<&VPSSChannel::GetParam>("GetParam")
      .addCFunction<&VPSSChannel::SetMode>("SetMode")
      .addCFunction<&VPSSChannel::GetMode>("GetMode")
      .addFunction<&VPSSChannel::SetDepth>("SetDepth")
      .addFunction<&VPSSChannel::GetDepth>("GetDelay")
      .addCFunction<&VPSSChannel::GetFrame>("GetFrame")
      .addFunction<&VPSSChannel::SetOverlay>("SetOverlay")
      .addFunction<&VPSSChannel::GetOverlay>("GetOverlay")
      .addFunction<&VPSSChannel::SetRotate>("SetRotate");

  beginClass<VPSSGroup, Channel>(L, "VPSSGroup")
      .addProperty<&VPSSGroup::get_GroupID>("GroupID")
      .addProperty<&VPSSGroup::get_MaxChannels>("MaxChannels")
      .addCFunction<&VPSSGroup::Create>("Create")
      .addFunction<&VPSSGroup::Destroy>("Destroy")
      .addFunction<&VPSSGroup::Start>("Start")
      .addFunction<&VPSSGroup::Stop>("Stop")
      .addFunction<&VPSSGroup::Reset>("Reset")
      .addCFunction<&VPSSGroup::SendFrame>("SendFrame")
      .addFunction<&VPSSGroup::EnableBackupFrame>("EnableBackupFrame")
      .addFunction<&VPSSGroup::DisableBackupFrame>("DisableBackupFrame")
      .addCFunction<&VPSSGroup::SetAttr>("SetAttr")
      .addCFunction<&VPSSGroup::GetAttr>("GetAttr")
      .addFunction<&VPSSGroup::GetChannel>("GetChannel")
      .addCFunction<&VPSSGroup::SetParam>("SetParam")
      .addCFunction<&VPSSGroup::GetParam>("GetParam")
      .addCFunction<&VPSSGroup::NotImplementedYet>("SetAdvancedParam")
      .addCFunction<&VPSSGroup::NotImplementedYet>("GetAdvancedParam")
      .addCFunction<&VPSSGroup::SetCrop>("SetCrop")
      .addCFunction<&VPSSGroup::GetCrop>("GetCrop")
      .addCFunction<&VPSSGroup::SetPreScale>("SetPreScale")
      .addCFunction<&VPSSGroup::GetPreScale>("GetPreScale")
      .addCFunction<&VPSSGroup::SetPreScaleMode>("SetPreScaleMode")
      .addCFunction<&VPSSGroup::GetPreScaleMode>("GetPreScaleMode")
      .addCFunction<&VPSSGroup::SetSizer>("SetSizer")
      .addCFunction<&VPSSGroup::GetSizer>("GetSizer")
      .addFunction<&VPSSGroup::SetFrameRate>("SetFrameRate")
      .addCFunction<&VPSSGroup::GetFrameRate>("GetFrameRate")
      .addFunction<&VPSSGroup::SetDelay>("SetDelay")
      .addFunction<&VPSSGroup::GetDelay>("GetDelay")
      .addFunction<&VPSSGroup::EnableUserFrameRateCtrl>("EnableUserFrameRateCtrl")
      .addFunction<&VPSSGroup::DisableUserFrameRateCtrl>("DisableUserFrameRateCtrl");

  beginClass<VPSS>(L, "VPSS")
      .addStaticProperty<&VPSS::get_MaxGroups>("MaxGroups")
      .addStaticProperty<&VPSS::get_MaxChannelsPerGroup>("MaxChannelsPerGroup")
      .addStaticFunction<&VPSS::GetGroup>("GetGroup")
      .addStaticFunction<&VPSS::CreateGroup>("CreateGroup")
      .addStaticFunction<&VPSS::ForceFreeGroup>("ForceFreeGroup");
}

}  // namespace Tessel
