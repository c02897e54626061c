// Building blocks of simulated pipelines shared by the simulator's unit tests
// and benchmarks: a platform brought up as scripts do, and an encoder
// channel the simulated encoder accepts.
#pragma once

#include <cstring>

#include "platform/mpp.h"
#include "sim/sim.h"

namespace simtest {

// Buffer pools and the system up (modules make no objects before); false if
// the simulator refused a step.
inline bool startSystem() {
    VB_CONF_S vb;
    std::memset(&vb, 0, sizeof vb);
    vb.u32MaxPoolCnt = 1;
    vb.astCommPool[0].u32BlkSize = 4096;
    vb.astCommPool[0].u32BlkCnt = 2;
    MPP_SYS_CONF_S sys;
    std::memset(&sys, 0, sizeof sys);
    sys.u32AlignWidth = 64;
    return HI_MPI_VB_SetConf(&vb) == HI_SUCCESS && HI_MPI_VB_Init() == HI_SUCCESS &&
           HI_MPI_SYS_SetConf(&sys) == HI_SUCCESS && HI_MPI_SYS_Init() == HI_SUCCESS;
}

// A complete H.264 CBR channel of the given width, 1080 lines high.
inline VENC_CHN_ATTR_S h264Cbr(HI_U32 width) {
    VENC_CHN_ATTR_S a;
    std::memset(&a, 0, sizeof a);
    a.stVeAttr.enType = PT_H264;
    VENC_ATTR_H264_S& h = a.stVeAttr.stAttrH264e;
    h.u32MaxPicWidth = h.u32PicWidth = width;
    h.u32MaxPicHeight = h.u32PicHeight = 1080;
    h.u32BufSize = width * 1080 * 2;
    h.bByFrame = HI_TRUE;
    a.stRcAttr.enRcMode = VENC_RC_MODE_H264CBR;
    VENC_ATTR_H264_CBR_S& c = a.stRcAttr.stAttrH264Cbr;
    c.u32Gop = 30;
    c.u32StatTime = 1;
    c.u32SrcFrmRate = 30;
    c.fr32DstFrmRate = 30;
    c.u32BitRate = 4096;
    return a;
}

}  // namespace simtest
