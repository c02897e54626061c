// Objects the core tracks before any module file adds behaviour: creating
// and destroying VENC channels, and "does not exist" for every other call on
// a channel never created. These handlers are weak: platform/sim/venc.cpp
// replaces them by defining its own.
#include "sim/sim.h"

namespace sim {

HI_S32 tracked_default(int mod, int dev, int chn, int limit) {
    if (chn < 0 || chn >= limit) return refuse(err(mod, INVALID_CHNID), "channel %d outside [0, %d)", chn, limit);
    if (!find(Key{mod, dev, chn})) return refuse(err(mod, UNEXIST), "%s does not exist", label(Key{mod, dev, chn}).c_str());
    return refuse(err(mod, NOT_SUPPORT), "this call on %s is not simulated", label(Key{mod, dev, chn}).c_str());
}

namespace h {

__attribute__((weak)) HI_S32 HI_MPI_VENC_CreateChn(VENC_CHN chn, const VENC_CHN_ATTR_S* attr) {
    const Key k{HI_ID_VENC, 0, chn};
    if (chn < 0 || chn >= VENC_MAX_CHN_NUM)
        return refuse(err(HI_ID_VENC, INVALID_CHNID), "channel %d outside [0, %d)", chn, VENC_MAX_CHN_NUM);
    if (!attr) return refuse(err(HI_ID_VENC, NULL_PTR), "no attributes given (null pointer)");
    if (find(k)) return refuse(err(HI_ID_VENC, EXIST), "%s exists already", label(k).c_str());
    Object& o = obtain(k);
    o.created = true;
    o.put("ChnAttr", *attr);
    return HI_SUCCESS;
}

__attribute__((weak)) HI_S32 HI_MPI_VENC_DestroyChn(VENC_CHN chn) {
    const Key k{HI_ID_VENC, 0, chn};
    if (chn < 0 || chn >= VENC_MAX_CHN_NUM)
        return refuse(err(HI_ID_VENC, INVALID_CHNID), "channel %d outside [0, %d)", chn, VENC_MAX_CHN_NUM);
    if (!find(k)) return refuse(err(HI_ID_VENC, UNEXIST), "%s does not exist", label(k).c_str());
    destroy(k);
    return HI_SUCCESS;
}

}  // namespace h
}  // namespace sim
