// The one place through which the module includes the vendor platform.
//
// The vendor's headers are not self-contained: several use HI_U32 and the
// common types without including hi_type.h / hi_common.h themselves
// (hi_comm_rc.h, the audio headers). Every module source includes this file
// instead of any hi_*.h or mpi_*.h directly, so the headers arrive in the
// order the vendor's own code includes them: the base types, the common
// definitions and the video types first, then each module's declarations.
#pragma once

#include <hi_type.h>
#include <hi_common.h>
#include <hi_comm_video.h>

#include <hi_comm_sys.h>
#include <hi_comm_vb.h>
#include <hi_comm_vi.h>
#include <hi_comm_vpss.h>
#include <hi_comm_rc.h>
#include <hi_comm_venc.h>
#include <hi_comm_vdec.h>
#include <hi_comm_vo.h>
#include <hi_comm_hdmi.h>
#include <hi_comm_region.h>
#include <hi_comm_aio.h>
#include <hi_comm_aenc.h>
#include <hi_comm_adec.h>

#include <mpi_sys.h>
#include <mpi_vb.h>
#include <mpi_vi.h>
#include <mpi_vpss.h>
#include <mpi_venc.h>
#include <mpi_vdec.h>
#include <mpi_vo.h>
#include <mpi_hdmi.h>
#include <mpi_region.h>
#include <mpi_ai.h>
#include <mpi_ao.h>
#include <mpi_aenc.h>
#include <mpi_adec.h>

#include <acodec.h>
#include <tessel_dev.h>
