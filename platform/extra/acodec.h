/* Requests of the chip's inner audio codec driver (character device
 * "/dev/acodec"). The vendor SDK ships no header for this driver; the numbers
 * below are the fixed requests the module sends. Every request is read-write,
 * type 'A', and carries one int or one gain record, except the reset. */
#ifndef TESSEL_ACODEC_H
#define TESSEL_ACODEC_H

#include <sys/ioctl.h>

#ifdef __cplusplus
extern "C" {
#endif

#define ACODEC_DEVICE_PATH "/dev/acodec"
#define ACODEC_IOC_TYPE 'A'

/* Gain of one converter side: value, and a mute flag (non-zero = muted). */
typedef struct {
    int gain;
    int mute;
} ACODEC_GAIN_S;

#define ACODEC_IOC_INT(nr)  _IOWR(ACODEC_IOC_TYPE, nr, int)
#define ACODEC_IOC_GAIN(nr) _IOWR(ACODEC_IOC_TYPE, nr, ACODEC_GAIN_S)

#define ACODEC_RESET                 _IO(ACODEC_IOC_TYPE, 0x00)
#define ACODEC_SET_INPUT_VOLUME      ACODEC_IOC_INT(0x02)
#define ACODEC_SET_OUTPUT_VOLUME     ACODEC_IOC_INT(0x03)
#define ACODEC_GET_INPUT_VOLUME      ACODEC_IOC_INT(0x04)
#define ACODEC_GET_OUTPUT_VOLUME     ACODEC_IOC_INT(0x05)
#define ACODEC_SET_I2S1_SAMPLE_RATE  ACODEC_IOC_INT(0x06)
#define ACODEC_SET_OUTPUT_DIFF_MODE  ACODEC_IOC_INT(0x07)
#define ACODEC_SELECT_SOURCE         ACODEC_IOC_INT(0x08)
#define ACODEC_SET_MIC_GAIN_LEFT     ACODEC_IOC_INT(0x0C)
#define ACODEC_SET_MIC_GAIN_RIGHT    ACODEC_IOC_INT(0x0D)
#define ACODEC_SET_DAC_GAIN_LEFT     ACODEC_IOC_GAIN(0x0F)
#define ACODEC_SET_DAC_GAIN_RIGHT    ACODEC_IOC_GAIN(0x10)
#define ACODEC_SET_ADC_GAIN_LEFT     ACODEC_IOC_GAIN(0x11)
#define ACODEC_SET_ADC_GAIN_RIGHT    ACODEC_IOC_GAIN(0x12)
#define ACODEC_SET_MIC_MUTE_LEFT     ACODEC_IOC_INT(0x13)
#define ACODEC_SET_MIC_MUTE_RIGHT    ACODEC_IOC_INT(0x14)
#define ACODEC_SET_DAC_MUTE_LEFT     ACODEC_IOC_INT(0x16)
#define ACODEC_SET_DAC_MUTE_RIGHT    ACODEC_IOC_INT(0x17)
#define ACODEC_DAC_SOFT_MUTE         ACODEC_IOC_INT(0x18)
#define ACODEC_DAC_SOFT_UNMUTE       ACODEC_IOC_INT(0x19)
#define ACODEC_GET_MIC_GAIN_LEFT     ACODEC_IOC_INT(0x1C)
#define ACODEC_GET_MIC_GAIN_RIGHT    ACODEC_IOC_INT(0x1D)
#define ACODEC_GET_DAC_GAIN_LEFT     ACODEC_IOC_GAIN(0x1E)
#define ACODEC_GET_DAC_GAIN_RIGHT    ACODEC_IOC_GAIN(0x1F)
#define ACODEC_GET_ADC_GAIN_LEFT     ACODEC_IOC_GAIN(0x20)
#define ACODEC_GET_ADC_GAIN_RIGHT    ACODEC_IOC_GAIN(0x21)
#define ACODEC_SELECT_DAC_I2S        ACODEC_IOC_INT(0x31)
#define ACODEC_SELECT_ADC_I2S        ACODEC_IOC_INT(0x32)
#define ACODEC_SET_I2S1_DATA_WIDTH   ACODEC_IOC_INT(0x33)
#define ACODEC_SET_I2S2_DATA_WIDTH   ACODEC_IOC_INT(0x34)
#define ACODEC_SET_I2S2_SAMPLE_RATE  ACODEC_IOC_INT(0x35)

/* Sample-rate codes: one per family of rates. */
#define ACODEC_RATE_8K_FAMILY   0x18  /* 8000, 11025, 12000 */
#define ACODEC_RATE_16K_FAMILY  0x19  /* 16000, 22050, 24000 */
#define ACODEC_RATE_32K_FAMILY  0x1A  /* 32000, 44100, 48000 */

/* Data-width codes. */
#define ACODEC_WIDTH_8BIT   0
#define ACODEC_WIDTH_16BIT  1
#define ACODEC_WIDTH_24BIT  2

#ifdef __cplusplus
}
#endif

#endif
