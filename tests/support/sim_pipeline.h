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

// A camera: capture channel 0 (on device 0) at width x height, 30 pictures
// a second, bound to processing group 0, whose channel 0 feeds encoder
// channel 0 (attr), every stage started; false if the simulator refused a
// step.
inline bool startCamera(HI_U32 width, HI_U32 height, const VENC_CHN_ATTR_S& attr) {
    VI_DEV_ATTR_S dev;
    std::memset(&dev, 0, sizeof dev);
    VI_CHN_ATTR_S chn;
    std::memset(&chn, 0, sizeof chn);
    chn.stCapRect.u32Width = chn.stDestSize.u32Width = width;
    chn.stCapRect.u32Height = chn.stDestSize.u32Height = height;
    chn.enPixFormat = PIXEL_FORMAT_YUV_SEMIPLANAR_420;
    chn.s32SrcFrameRate = chn.s32DstFrameRate = 30;
    VPSS_GRP_ATTR_S grp;
    std::memset(&grp, 0, sizeof grp);
    grp.u32MaxW = width;
    grp.u32MaxH = height;
    grp.enPixFmt = PIXEL_FORMAT_YUV_SEMIPLANAR_420;
    MPP_CHN_S vi = {HI_ID_VIU, 0, 0}, vpssIn = {HI_ID_VPSS, 0, 0}, vpssOut = {HI_ID_VPSS, 0, 0}, venc = {HI_ID_VENC, 0, 0};
    VENC_CHN_ATTR_S a = attr;
    return HI_MPI_VI_SetDevAttr(0, &dev) == HI_SUCCESS && HI_MPI_VI_EnableDev(0) == HI_SUCCESS &&
           HI_MPI_VI_SetChnAttr(0, &chn) == HI_SUCCESS && HI_MPI_VI_EnableChn(0) == HI_SUCCESS &&
           HI_MPI_VPSS_CreateGrp(0, &grp) == HI_SUCCESS && HI_MPI_VPSS_EnableChn(0, 0) == HI_SUCCESS &&
           HI_MPI_VPSS_StartGrp(0) == HI_SUCCESS && HI_MPI_VENC_CreateChn(0, &a) == HI_SUCCESS &&
           HI_MPI_VENC_StartRecvPic(0) == HI_SUCCESS && HI_MPI_SYS_Bind(&vi, &vpssIn) == HI_SUCCESS &&
           HI_MPI_SYS_Bind(&vpssOut, &venc) == HI_SUCCESS;
}

// A complete H.264 CBR channel of width x height (a stream buffer of two pictures).
inline VENC_CHN_ATTR_S h264Cbr(HI_U32 width, HI_U32 height, HI_U32 kbps) {
    VENC_CHN_ATTR_S a = h264Cbr(width);
    VENC_ATTR_H264_S& h = a.stVeAttr.stAttrH264e;
    h.u32MaxPicHeight = h.u32PicHeight = height;
    h.u32BufSize = width * height * 2;
    a.stRcAttr.stAttrH264Cbr.u32BitRate = kbps;
    return a;
}

}  // namespace simtest
