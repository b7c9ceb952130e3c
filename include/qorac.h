/**
 * @file
 * @mainpage Overview
 *
 * Audio-coding primitives for Linux on x86-64. The library is not a codec. It gives the steps of
 * MP3, AAC, SBR, parametric stereo, TwinVQ and DTS decoders and encoders that are heavy,
 * standard-defined or numerically delicate; the caller writes the control flow and calls them frame
 * by frame.
 *
 * What holds for every function here:
 *
 *  - The return value is a status: 0 is success, a negative value an error, a positive value a
 *    warning (the work was done in full). The numbers are part of the interface.
 *  - Arguments are checked in the order in which each function lists its errors. The first failure
 *    returns at once with nothing written, unless the function says otherwise.
 *  - The caller owns every buffer and record. Nothing is allocated but in the InitAlloc functions
 *    (and where a transform names its scratch); nothing is kept between calls but in the caller's
 *    contexts and records. There is no global state, no initialisation and no shutdown.
 *  - Any function may run on any thread as long as no two calls at once share a context, a record
 *    or an output buffer. Transform contexts are read-only in use and can be shared.
 *  - Qn means a signed integer that holds value * 2^n.
 *
 * @par Bit cursor
 * `ppBitStream` points to the pointer to the current byte and `pOffset` to the number
 * of bits of that byte that are already used, 0 to 7; bits are taken most significant first. A read
 * may touch up to three bytes behind the last bit that it uses (the VLC coders: two 32-bit words),
 * a write one byte. No function knows the end of the buffer: the caller leaves that room.
 *
 * @par Names
 * A suffix `_I` is in place, `_Sfs` takes a scale factor: the exact result times
 * 2^-scaleFactor, rounded to nearest with ties to even and saturated to the output type. `1u`
 * means a bit stream, `_D2L` an array of row pointers.
 *
 * @par Families
 *  - @ref formats : interleaving, scaled floats, the 3/4 and 4/3 power laws
 *  - @ref mp3dec, @ref mp3bank, @ref mp3enc
 *  - @ref aac, @ref aacpred
 *  - @ref sbrbank, @ref sbrbank32f, @ref sbrtools, @ref ps
 *  - @ref mdct
 *  - @ref vlc, @ref dts, @ref tvq, @ref fir
 *  - @ref types, @ref statuses, @ref version
 */
#ifndef QORAC_H
#define QORAC_H

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

#define QORAC_VERSION_MAJOR 6
#define QORAC_VERSION_MINOR 1

/* ---------------------------------------------------------------- element types ------------- */

/**
 * @defgroup types Element types
 * `u` unsigned, `s` signed, `f` floating point, `c` complex; the number is the width in bits.
 * @{
 */

typedef unsigned char Qor8u;
typedef signed char Qor8s;
typedef unsigned short Qor16u;
typedef signed short Qor16s;
typedef unsigned int Qor32u;
typedef signed int Qor32s;
typedef signed long long Qor64s;
typedef float Qor32f;
typedef double Qor64f;

typedef struct {
    Qor16s re, im;
} Qor16sc;
typedef struct {
    Qor32s re, im;
} Qor32sc;
typedef struct {
    Qor32f re, im;
} Qor32fc;
typedef struct {
    Qor64f re, im;
} Qor64fc;

/** @} */

/* ---------------------------------------------------------------- statuses ------------------ */

/**
 * @defgroup statuses Statuses
 * What the functions return, and the flags that choose a transform's factor.
 * @{
 */

/** A status: 0 success, below 0 an error, above 0 a warning. */
typedef Qor32s QorStatus;

/** The statuses. */
enum {
    /* general */
    qorStsNoErr = 0,             /**< success */
    qorStsAlignmentWarn = 2,     /**< success; a data pointer was off a 16-byte boundary */
    qorStsErr = -2,              /**< failure of the data itself, e.g. a bit budget overrun */
    qorStsBadArgErr = -5,        /**< an argument outside its allowed range */
    qorStsSizeErr = -6,          /**< a length or size below its minimum */
    qorStsNullPtrErr = -8,       /**< a required pointer is null */
    qorStsMemAllocErr = -9,      /**< an allocation failed */
    qorStsStepErr = -14,         /**< a step or group size below 1 */
    qorStsFftOrderErr = -15,     /**< transform order out of range */
    qorStsFftFlagErr = -16,      /**< transform normalisation flag bad */
    qorStsContextMatchErr = -17, /**< the context's id is not the one that the function expects */
    qorStsFirLenErr = -26,       /**< filter length or index bad */
    qorStsShiftErr = -32,        /**< a shift count below zero */
    qorStsNumChannelsErr = -53,  /**< number of channels below 1 */

    /* VLC escape blocks */
    qorStsVlcEscapeOverflowErr = -127, /**< an AAC escape with more than 8 leading ones */
    qorStsVlcBitOffsetErr = -193,      /**< bit offset outside 0 to 7 */

    /* AAC */
    qorStsAacPcmModeErr = -134,      /**< pcmMode not 1 or 2 */
    qorStsAacWinShapeErr = -135,     /**< a window shape not 0 or 1 */
    qorStsAacObjectTypeErr = -136,   /**< audioObjectType outside 0 to 16 */
    qorStsAacScaleFlagErr = -137,    /**< scaleFlag not 0 or 1 */
    qorStsAacMonoLayerErr = -138,    /**< monoLayerFlag not 0 or 1 */
    qorStsAacStereoLayerErr = -139,  /**< thisLayerStereo not 0 or 1 */
    qorStsAacMonoStereoErr = -140,   /**< monoStereoFlag not 0 or 1 */
    qorStsAacChannelsErr = -141,     /**< channelNum not 1 or 2 */
    qorStsAacMsMaskErr = -142,       /**< ms_mask_present argument not 1 or 2 */
    qorStsAacCommonWindowErr = -143, /**< commonWin not 0 or 1 */
    qorStsAacWinSeqErr = -144,       /**< window_sequence outside 0 to 3 */
    qorStsAacWinGrpErr = -145,       /**< numWinGrp does not fit winLen */
    qorStsAacWinLenErr = -146,       /**< winLen not 128 or 1024 (or, where only short fits, 128) */
    qorStsAacSampRateIdxErr = -147,  /**< sampling index outside its range */
    qorStsAacBitOffsetErr = -149,    /**< bit offset outside 0 to 7 */
    qorStsAacTnsProfileErr = -151,   /**< profile of the TNS encoder not 1 */
    qorStsAacTnsDirectionErr = -152, /**< a TNS direction not 0 or 1 */
    qorStsAacTnsCoefErr = -153,      /**< a TNS coefficient outside -8 to 7 */
    qorStsAacTnsCoefResErr = -154,   /**< a TNS coef_res not 3 or 4 */
    qorStsAacTnsOrderErr = -155,     /**< a TNS order too large for the window */
    qorStsAacTnsLengthErr = -156,    /**< a TNS region negative or longer than the bands */
    qorStsAacTnsNumFiltErr = -157,   /**< a TNS filter count negative or too large */
    qorStsAacSectionErr = -158,      /**< the sections of a group do not end at max_sfb */
    qorStsAacGainControlErr = -159,  /**< gain_control_data_present is set */
    qorStsAacPulseErr = -160,        /**< pulse data in a short block or out of range */
    qorStsAacPredSfbErr = -161,      /**< predSfbMax out of range, or not 0 in the LC decoder */
    qorStsAacMaxSfbErr = -162,       /**< max_sfb, or predSfbMax of the MP4 parser, out of range */
    qorStsAacQuantMaxErr = -163,     /**< an escape longer than 8 ones or a magnitude above 8191 */
    qorStsAacScaleFactorErr = -164,  /**< a running scale factor left 0 to 255 */
    qorStsAacCodebookErr = -166,     /**< code book 12, or one that the element does not allow */
    qorStsAacPceCountErr = -167,     /**< prgCfgEltMax outside 1 to 16, or more elements */

    qorStsNotSupportedModeErr = -9999, /**< the AAC main header lies above mono layers */

    /* MP3 */
    qorStsMp3SideInfoErr = -170,   /**< a field of the side information is out of range */
    qorStsMp3FrameHeaderErr = -171 /**< a field of the frame header is out of range */
};

/** Normalisation of the transforms: where the factor stands. */
enum {
    qorFftNormFwd = 1,  /**< 1/N in the forward transform */
    qorFftNormInv = 2,  /**< 1/N in the inverse transform */
    qorFftNormSqrt = 4, /**< 1/sqrt(N) in both */
    qorFftNormNone = 8  /**< none */
};

/** @} */

/* ---------------------------------------------------------------- version ------------------- */

/**
 * @addtogroup version
 * @{
 */

/** Version of the library, as qoracGetLibVersion() gives it. */
typedef struct {
    Qor32s major;          /**< QORAC_VERSION_MAJOR of the library that is loaded */
    Qor32s minor;          /**< QORAC_VERSION_MINOR */
    Qor32s majorBuild;     /**< first number of the build */
    Qor32s build;          /**< second number of the build */
    char targetCpu[4];     /**< processor variant, zero-padded */
    const char* name;      /**< file name of the library */
    const char* version;   /**< version and build as text */
    const char* buildDate; /**< month, day and year as text */
} QorLibraryVersion;

/**
 * Returns the library's version record.
 *
 * It is one constant record of the library; the caller does not release it.
 *
 * @return the record, never null
 * @source this library's own
 */
const QorLibraryVersion* qoracGetLibVersion(void);

/** @} */

/* ================================================================ records =================== */

/* ---------------------------------------------------------------- MP3 ----------------------- */

/**
 * @addtogroup mp3dec
 * @{
 */

/** Fields of an MPEG audio frame header (ISO 11172-3 clause 2.4.1.3), in stream order. */
typedef struct {
    Qor32s id;                 /**< 1 MPEG-1, 0 low sampling frequencies (ISO 13818-3) */
    Qor32s layer;              /**< stream code of the layer; 1 is Layer III */
    Qor32s protection_bit;     /**< 0: a 16-bit CRC word follows the header */
    Qor32s bitrate_index;      /**< 4 bits */
    Qor32s sampling_frequency; /**< 2 bits: 44100 48000 32000 Hz (id 1), 22050 24000 16000 (id 0) */
    Qor32s padding_bit;
    Qor32s private_bit;
    Qor32s mode;           /**< 0 stereo, 1 joint stereo, 2 dual channel, 3 single channel */
    Qor32s mode_extension; /**< bit 1 mid/side, bit 0 intensity */
    Qor32s copyright;
    Qor32s original;
    Qor32s emphasis; /**< 2 bits */
    Qor32s CRCWord;  /**< in use only when protection_bit is 0 */
} QorMP3FrameHeader;

/**
 * Side information of one granule and channel (ISO 11172-3 clause 2.4.1.7). Arrays of these
 * records are in stream order: index granule * channels + channel, with two granules for id 1 and
 * one for id 0, one channel for mode 3 and two otherwise.
 */
typedef struct {
    Qor32s part2_3_length; /**< bits of scale factors and Huffman data */
    Qor32s big_values;     /**< pairs in the big-values regions */
    Qor32s global_gain;
    Qor32s scalefac_compress; /**< 4 bits (id 1) or 9 bits (id 0) */
    Qor32s window_switching_flag;
    Qor32s block_type;       /**< 0 long, 1 start, 2 short, 3 stop */
    Qor32s mixed_block_flag; /**< 1: the two lowest sub-bands of a short block are long */
    Qor32s table_select[3];
    Qor32s subblock_gain[3];
    Qor32s region0_count;
    Qor32s region1_count;
    Qor32s preflag;
    Qor32s scalefac_scale;
    Qor32s count1table_select;
} QorMP3SideInfo;

/** @} */

/**
 * @addtogroup mp3enc
 * @{
 */

/**
 * Memory of the psychoacoustic model for one analysis channel (0 left, 1 right, 2 mid, 3 side).
 * An array of four is cleared by the caller before the first frame and carried from frame to frame.
 */
typedef struct {
    Qor64s nbPrev1[63];     /**< long-block threshold per partition, one granule back */
    Qor64s nbPrev2[63];     /**< the same two granules back */
    Qor64s nbShortPrev[42]; /**< short-block threshold of the last window per partition */
    Qor32s spec1[12];       /**< re, im of long-spectrum lines 0 to 5, one granule back */
    Qor32s spec2[12];       /**< the same two granules back */
    Qor32s mag1[6];         /**< 32 * magnitude of those lines, one granule back */
    Qor32s mag2[6];         /**< the same two granules back */
    Qor32s pe;              /**< perceptual entropy of the last granule analysed */
    Qor32s blockType;       /**< records 0 and 1: block type carried on: 0, 2 or 3 */
    Qor32s ratioLong[36];   /**< long-block ratios of the last granule analysed */
    Qor32s ratioShort[36];  /**< short-block ratios of the same granule */
} QorMP3PsychoState;

/** Result of the psychoacoustic model, one record per granule and channel. */
typedef struct {
    Qor32s ratio[36]; /**< threshold / energy, Q31; long: band 0 to 20, short: sfb * 3 + window */
    Qor32s pe;        /**< perceptual entropy, common logarithm */
} QorMP3PsychoInfo;

/** The encoder's bit reservoir. */
typedef struct {
    Qor32s bitsAvail; /**< bits now in the reservoir */
    Qor32s maxBits;   /**< its limit */
} QorMP3BitReservoir;

/** @} */

/* ---------------------------------------------------------------- AAC ----------------------- */

/**
 * @addtogroup aac
 * @{
 */

/** adif_header of ISO/IEC 13818-7. */
typedef struct {
    Qor32s adif_id;
    Qor32s copyright_id_present;
    Qor32s original_copy;
    Qor32s home;
    Qor32s bitstream_type;              /**< 0 constant rate, 1 variable rate */
    Qor32s bitrate;                     /**< 23 bits */
    Qor32s num_program_config_elements; /**< the count itself, 1 to 16 */
    Qor32s adif_buffer_fullness[16];    /**< 20 bits each; only for bitstream_type 0 */
    Qor8u copyright_id[9];              /**< only when copyright_id_present is set */
} QorAACAdifHeader;

/** adts_fixed_header, adts_variable_header and the CRC word of ISO/IEC 13818-7. */
typedef struct {
    Qor32s ID;
    Qor32s layer;
    Qor32s protection_absent;
    Qor32s profile;
    Qor32s sampling_frequency_index;
    Qor32s private_bit;
    Qor32s channel_configuration;
    Qor32s original_copy;
    Qor32s home;
    Qor32s adtsReserved; /**< the caller's: no function touches it */
    Qor32s copyright_identification_bit;
    Qor32s copyright_identification_start;
    Qor32s aac_frame_length;                   /**< bytes, header included */
    Qor32s adts_buffer_fullness;               /**< 11 bits */
    Qor32s number_of_raw_data_blocks_in_frame; /**< the number of blocks, 1 to 4 */
    Qor32s crc_check;                          /**< in use only when protection_absent is 0 */
} QorAACAdtsHeader;

/** program_config_element of ISO/IEC 13818-7. */
typedef struct {
    Qor32s element_instance_tag;
    Qor32s object_type;
    Qor32s sampling_frequency_index;
    Qor32s num_front_channel_elements;
    Qor32s num_side_channel_elements;
    Qor32s num_back_channel_elements;
    Qor32s num_lfe_channel_elements;
    Qor32s num_assoc_data_elements;
    Qor32s num_valid_cc_elements;
    Qor32s mono_mixdown_present;
    Qor32s mono_mixdown_element_number;
    Qor32s stereo_mixdown_present;
    Qor32s stereo_mixdown_element_number;
    Qor32s matrix_mixdown_idx_present;
    Qor32s matrix_mixdown_idx;
    Qor32s pseudo_surround_enable;
    Qor32s front_element_is_cpe[16];
    Qor32s front_element_tag_select[16];
    Qor32s side_element_is_cpe[16];
    Qor32s side_element_tag_select[16];
    Qor32s back_element_is_cpe[16];
    Qor32s back_element_tag_select[16];
    Qor32s lfe_element_tag_select[4];
    Qor32s assoc_data_element_tag_select[8];
    Qor32s cc_element_is_ind_sw[16];
    Qor32s valid_cc_element_tag_select[16];
    Qor32s comment_field_bytes;
    Qor8u comment_field_data[256];
} QorAACPrgCfgElt;

/** ics_info of ISO/IEC 13818-7. */
typedef struct {
    Qor32s ics_reserved_bit;
    Qor32s window_sequence; /**< 0 long, 1 long-start, 2 eight short, 3 long-stop */
    Qor32s window_shape;    /**< 0 sine, 1 Kaiser-Bessel derived */
    Qor32s max_sfb;
    Qor32s scale_factor_grouping; /**< 7 bits; short blocks only */
    Qor32s predictor_data_present;
    Qor32s predictor_reset;
    Qor32s predictor_reset_group_number;
    Qor8u prediction_used[41];
    Qor32s num_window_groups;
    Qor32s window_group_length[8];
} QorAACIcsInfo;

/** The part of channel_pair_element that the two channels share. */
typedef struct {
    Qor32s common_window;
    Qor32s ms_mask_present;
    Qor8u ms_used[8][60]; /**< one row per window group, one byte per band */
} QorAACChanPairElt;

/**
 * TNS data of one channel. `length` and `order` are packed filter by filter over all windows,
 * `direction` holds an entry only for each filter of non-zero order, `coef` holds `order`
 * sign-extended entries for each such filter, all in stream order.
 */
typedef struct {
    Qor32s tns_data_present;
    Qor32s n_filt[8];
    Qor32s coef_res[8]; /**< the stream's bit plus 3: 3 or 4 */
    Qor32s length[8];
    Qor32s order[8];
    Qor32s direction[16];
    Qor8s coef[60];
} QorAACTnsInfo;

/** Long-term prediction data of one channel (ISO/IEC 14496-3 ltp_data). */
typedef struct {
    Qor32s ltp_data_present;
    Qor32s ltp_lag;  /**< 11 bits */
    Qor32s ltp_coef; /**< the coefficient in Q14, not its index */
    Qor32s
        ltp_long_used[41]; /**< [0] repeats ltp_data_present, [sfb + 1] is the flag of band sfb */
    Qor32s reserved[20];
    Qor32s ltp_short_used[8];
    Qor32s ltp_short_lag_present[8];
    Qor32s ltp_short_lag[8];
} QorAACLtpInfo;

/** tvq_scalable_main_header / aac_scalable_main_header; also carries LTP for the MPEG-4 parsers. */
typedef struct {
    Qor32s window_sequence;
    Qor32s window_shape;
    Qor32s max_sfb;
    Qor32s scale_factor_grouping;
    Qor32s num_window_groups;
    Qor32s window_group_length[8];
    Qor32s ms_mask_present;
    Qor8u (*pMsUsed)[60]; /**< the caller's rows, one per window group */
    QorAACTnsInfo tns[2];
    QorAACLtpInfo ltp[2];
} QorAACMainHeader;

/** aac_scalable_extension_header. */
typedef struct {
    Qor32s ms_mask_present;
    Qor32s max_sfb;
    Qor8u (*pMsUsed)[60]; /**< the caller's rows: 1, or 4 for a short block */
    QorAACTnsInfo tns[2];
    Qor32s diff_control_lr[2][51];
} QorAACExtHeader;

/** What the noiseless decoders keep of one channel. */
typedef struct {
    Qor32s tag;               /**< the caller's: no function touches it */
    Qor32s id;                /**< the caller's */
    Qor32s samplingRateIndex; /**< in */
    Qor32s predSfbMax;        /**< in */
    Qor32s reserved;          /**< the caller's */
    Qor32s winLen;            /**< out: 128 or 1024 */
    Qor32s numWin;            /**< out: 8 or 1 */
    Qor32s numSwb;            /**< out */
    Qor32s global_gain;       /**< out */
    Qor32s pulse_data_present;
    Qor32s tns_data_present;
    Qor32s gain_control_data_present;
    QorAACIcsInfo* pIcsInfo; /**< in */
    void* pUser;             /**< the caller's */
    Qor8u sect_cb[120];
    Qor8u sect_end[120];
    Qor32s num_sec[8];
    Qor32s n_filt[8];
    Qor32s coef_res[8];
    Qor32s length[8];
    Qor32s order[8];
    Qor32s direction[8];
} QorAACChanInfo;

/** @} */

/* ---------------------------------------------------------------- VLC ----------------------- */

/**
 * @addtogroup vlc
 * @{
 */

/**
 * The code book of a decoder: look-up tables that the caller brings. The functions align the
 * pointer to a spec that they get up to the next multiple of 32 bytes and read the record there.
 */
typedef struct {
    Qor32u id; /**< 0x434D4160 */
    Qor32s reserved1;
    Qor32s maxBits; /**< bits of the longest way through the levels, at most 30 */
    Qor32s reserved3;
    const void* pTable; /**< levels of 16-bit or 32-bit elements */
    Qor32s elementBits; /**< 32: 32-bit elements, any other value: 16-bit elements */
    Qor32s lengthBits;  /**< width of the length field of a leaf */
    Qor32s reserved8;
    Qor32s tupleElementBits; /**< width of one value of a tuple leaf */
    Qor32s tupleBits;        /**< width of the whole value field of a tuple leaf */
    Qor32s reserved11;
} QorVLCDecodeSpec;

/** The code book of an encoder: the length and the word of every pair's code. */
typedef struct {
    const Qor32u* pTable; /**< 2^tableBits code lengths, then 2^tableBits code words */
    Qor32s bias;
    Qor32s tableBits;
    Qor32s reserved4;
    Qor32u id; /**< 0x434D415F */
} QorVLCEncodeSpec;

/** @} */

/* ---------------------------------------------------------------- contexts ------------------ */

/** One channel and direction of an MP3 float filter bank. @ingroup mp3bank */
typedef struct QorsFilterSpec_PQMF_MP3_32f QorsFilterSpec_PQMF_MP3_32f;
/** The predictors of one channel. @ingroup aacpred */
typedef struct QorsFDPState_32f QorsFDPState_32f;
/** One channel and direction of an integer QMF bank. @ingroup sbrbank */
typedef struct QorsFilterSpec_SBR_32s QorsFilterSpec_SBR_32s;
/** One channel and direction of a decoder's float QMF bank. @ingroup sbrbank32f */
typedef struct QorsFilterSpec_SBR_32f QorsFilterSpec_SBR_32f;
/** The encoder's float QMF analysis, without history; one thread at a time. @ingroup sbrbank32f */
typedef struct QorsFilterEncSpec_SBR_32f QorsFilterEncSpec_SBR_32f;
/** A forward transform of floats of one length; read-only in use. @ingroup mdct */
typedef struct QorsMDCTFwdSpec_32f QorsMDCTFwdSpec_32f;
/** An inverse transform of floats of one length; read-only in use. @ingroup mdct */
typedef struct QorsMDCTInvSpec_32f QorsMDCTInvSpec_32f;
/** A forward transform of 16-bit samples of one length; read-only in use. @ingroup mdct */
typedef struct QorsMDCTFwdSpec_16s QorsMDCTFwdSpec_16s;
/** One channel of the DTS synthesis filter. @ingroup dts */
typedef struct QorsFilterSpec_DTS_32f QorsFilterSpec_DTS_32f;
/** Code books in the order in which the search reads them. @ingroup tvq */
typedef struct QorsVQCodeBookState_32f QorsVQCodeBookState_32f;
/** Taps and history of a block filter. @ingroup fir */
typedef struct QorsFIRBlockState_32f QorsFIRBlockState_32f;

/* ================================================================ sample formats ============ */

/**
 * @addtogroup formats
 * @{
 */

/**
 * @name Interleaving
 * @{
 */
/**
 * Interleaves channels: sample n of channel c goes to pDst[n * numChannels + c].
 *
 * @param[in]  ppSrc        numChannels pointers to len samples each, none of which overlaps pDst
 * @param[in]  numChannels  number of channels, at least 1
 * @param[in]  len          samples of each channel, at least 1
 * @param[out] pDst         numChannels * len samples
 * @retval qorStsNullPtrErr     ppSrc or pDst null
 * @retval qorStsNumChannelsErr numChannels below 1
 * @retval qorStsSizeErr        len below 1
 * @retval qorStsNullPtrErr     any channel pointer null
 * @retval qorStsAlignmentWarn  pDst or a channel pointer off a 16-byte boundary
 * @source the order of samples as above
 */
QorStatus qorsInterleave_16s(const Qor16s* const* ppSrc, int numChannels, int len, Qor16s* pDst);
QorStatus qorsInterleave_32f(const Qor32f* const* ppSrc, int numChannels, int len, Qor32f* pDst);
/** @} */

/**
 * @name Deinterleaving
 * @{
 */
/**
 * Separates interleaved channels: sample n of channel c comes from pSrc[n * numChannels + c].
 *
 * @param[in]  pSrc         numChannels * len samples
 * @param[in]  numChannels  number of channels, at least 1
 * @param[in]  len          samples of each channel, at least 1
 * @param[out] ppDst        numChannels pointers to len samples each, none of which overlaps pSrc
 * @retval qorStsNullPtrErr     pSrc or ppDst null
 * @retval qorStsNumChannelsErr numChannels below 1
 * @retval qorStsSizeErr        len below 1
 * @retval qorStsNullPtrErr     any channel pointer null
 * @retval qorStsAlignmentWarn  pSrc or a channel pointer off a 16-byte boundary
 * @source the order of samples as above
 */
QorStatus qorsDeinterleave_16s(const Qor16s* pSrc, int numChannels, int len, Qor16s** ppDst);
QorStatus qorsDeinterleave_32f(const Qor32f* pSrc, int numChannels, int len, Qor32f** ppDst);
/** @} */

/**
 * Makes floats of mantissas and exponents: pDst[i] = pSrcMant[i] * 2^(-15 - pSrcExp[i]).
 *
 * The scale is a float of its own, with (112 - pSrcExp[i]) modulo 256 in its exponent field, and
 * the product is rounded once. So exponents count modulo 256: the formula holds for -142 to 111,
 * 112 is a scale of 0, -143 one of infinity. A product too large for a float is infinite.
 *
 * @param[in]  pSrcMant  len mantissas, Q15
 * @param[in]  pSrcExp   len exponents, -142 to 111
 * @param[in]  len       number of values, at least 1
 * @param[out] pDst      len floats
 * @retval qorStsNullPtrErr    any pointer null
 * @retval qorStsSizeErr       len below 1
 * @retval qorStsAlignmentWarn any of the three pointers off a 16-byte boundary
 * @source the formula above
 */
QorStatus qorsMakeFloat_16s32f(const Qor16s* pSrcMant, const Qor16s* pSrcExp, int len,
                               Qor32f* pDst);

/**
 * Makes the gains of AAC scale factors: pDst[i] = 2^((pSrc[i] - offset) / 4).
 *
 * A difference outside -512 to 511 wraps modulo 1024: 512 gives what -512 gives.
 *
 * @param[in]  pSrc    len scale factors
 * @param[in]  offset  the scale factor of gain 1
 * @param[out] pDst    len gains
 * @param[in]  len     number of values, at least 1
 * @retval qorStsNullPtrErr pSrc or pDst null
 * @retval qorStsSizeErr    len below 1
 * @source ISO/IEC 14496-3, clause 4.6.2
 */
QorStatus qorsCalcSF_16s32f(const Qor16s* pSrc, int offset, Qor32f* pDst, int len);

/**
 * Takes the 3/4 power of magnitudes, the law of the MP3 and AAC quantizers.
 *
 * pDst[i] = |pSrc[i]|^(3/4) with a relative error below 2^-10. A magnitude up to 1e-37 and a NaN
 * give 0. The caller's floating-point exceptions stay as they are.
 *
 * @param[in]  pSrc  len values; the sign does not count
 * @param[out] pDst  len values, 0 or above
 * @param[in]  len   number of values, at least 1
 * @retval qorStsNullPtrErr    pSrc or pDst null
 * @retval qorStsSizeErr       len below 1
 * @retval qorStsAlignmentWarn pSrc or pDst off a 16-byte boundary
 * @source ISO 11172-3, clause C.1.5.4.4
 */
QorStatus qorsPow34_32f(const Qor32f* pSrc, Qor32f* pDst, int len);

/**
 * Takes the 3/4 power of magnitudes and rounds it to the nearest integer, ties to even.
 *
 * The power is that of qorsPow34_32f(). A magnitude above 1000000 gives 31623, a NaN gives 0.
 *
 * @param[in]  pSrc  len values; the sign does not count
 * @param[out] pDst  len integers, 0 to 31623
 * @param[in]  len   number of values, at least 1
 * @retval qorStsNullPtrErr    pSrc or pDst null
 * @retval qorStsSizeErr       len below 1
 * @retval qorStsAlignmentWarn pSrc or pDst off a 16-byte boundary
 * @source ISO 11172-3, clause C.1.5.4.4
 */
QorStatus qorsPow34_32f16s(const Qor32f* pSrc, Qor16s* pDst, int len);

/**
 * Takes the 3/4 power of 16-bit magnitudes in integers.
 *
 * pDst[i] = (|pSrc[i]| * 2^inScaleFactor)^(3/4) * 2^-scaleFactor. The power has a relative error
 * below 2^-13; the result is rounded to nearest with ties to even and is at most 32767. A source of
 * 0 gives 0. Of another source a result far below 1/2 can still come out as 1, whatever scaleFactor
 * is.
 *
 * @param[in]  pSrc           len values; the sign does not count
 * @param[in]  inScaleFactor  power of two that the sources are multiplied by; any value
 * @param[out] pDst           len values, 0 to 32767
 * @param[in]  scaleFactor    power of two that the result is divided by; any value
 * @param[in]  len            number of values, at least 1
 * @retval qorStsSizeErr    len below 1, tested first
 * @retval qorStsNullPtrErr pSrc or pDst null
 * @source ISO 11172-3, clause C.1.5.4.4
 */
QorStatus qorsPow34_16s_Sfs(const Qor16s* pSrc, int inScaleFactor, Qor16s* pDst, int scaleFactor,
                            int len);

/**
 * Takes the 4/3 power and keeps the sign: the inverse of the quantizers' law.
 *
 * pDst[i] = sign(pSrc[i]) * |pSrc[i]|^(4/3), rounded once to single precision.
 *
 * @param[in]  pSrc  len values in -8206 to 8206, which is not tested
 * @param[out] pDst  len values
 * @param[in]  len   number of values; 0 does nothing
 * @retval qorStsNullPtrErr pSrc or pDst null
 * @retval qorStsSizeErr    len below 0
 * @source ISO 11172-3, clause 2.4.3.4; ISO/IEC 13818-7, clause 10
 */
QorStatus qorsPow43_16s32f(const Qor16s* pSrc, Qor32f* pDst, int len);

/**
 * Multiplies each band by a gain of its own.
 *
 * The elements pBandOffset[b] to pBandOffset[b + 1] - 1 are those of band b and pScale[b] its gain.
 * A band that ends at or before its start is empty. The offsets are not tested.
 *
 * @param[in,out] pSrcDst      the elements that the offsets reach
 * @param[in]     pScale       numBands gains
 * @param[in]     pBandOffset  numBands + 1 indices into pSrcDst
 * @param[in]     numBands     number of bands, at least 1
 * @retval qorStsNullPtrErr any pointer null
 * @retval qorStsSizeErr    numBands below 1
 * @source the product as above, in single precision
 */
QorStatus qorsScale_32f_I(Qor32f* pSrcDst, const Qor32f* pScale, const Qor32s* pBandOffset,
                          int numBands);

/**
 * Gives the spreading function of psychoacoustic model 2, the gain by which energy at one Bark
 * position masks at another.
 *
 * It depends on d = src2 - src1 in Bark, with x = 3 d where d is 0 or more and x = 1.5 d below:
 * @code{.unparsed}
 * v = 15.811389 + 7.5 (x + 0.474) - 17.5 sqrt(1 + (x + 0.474)^2)
 *     + 8 min((x - 0.5)^2 - 2 (x - 0.5), 0)  dB
 * @endcode
 *
 * @param[in]  src1           first position: its low 16 bits, as signed, times 2^inScaleFactor Bark
 * @param[in]  src2           second position, likewise
 * @param[in]  inScaleFactor  power of two that the positions are multiplied by; any value
 * @param[out] pDst           one gain 10^(v / 10) in Q15, at most 32767; 0 for d outside -4 to 4
 * @retval qorStsNullPtrErr pDst null
 * @source ISO 11172-3, clause D.2.3
 */
QorStatus qorsSpread_16s_Sfs(Qor32s src1, Qor32s src2, int inScaleFactor, Qor16s* pDst);

/** @} */

/* ================================================================ MP3 decoding ============== */

/**
 * @addtogroup mp3dec
 * @{
 */

/*
 * The chain for one granule: scale factors, Huffman decoding, requantization with stereo, hybrid
 * synthesis. The numbers go from integers through lines in Q26 and sub-band samples in Q24 to
 * 16-bit PCM. The caller finds the frames, keeps the bit reservoir and checks the CRC.
 */

/* --- unpacking --- */

/**
 * Reads a frame header: 4 bytes, and 2 more for CRCWord when protection_bit is 0.
 *
 * Neither the syncword nor any field is tested.
 *
 * @param[in,out] ppBitStream  pointer to the header's first byte; moves on by 4 or 6
 * @param[out]    pDstHeader   one record; CRCWord keeps its value when protection_bit is 1
 * @retval qorStsNullPtrErr ppBitStream, pDstHeader or *ppBitStream null
 * @source ISO 11172-3, clause 2.4.1.3
 */
QorStatus qorsUnpackFrameHeader_MP3(Qor8u** ppBitStream, QorMP3FrameHeader* pDstHeader);

/**
 * Reads the side information of a frame, which starts and ends on a byte boundary.
 *
 * It takes 17 bytes (single channel) or 32 for id 1, 9 or 17 for id 0. With window_switching_flag
 * 1, region0_count and region1_count are set to 8 and 12 for a short block that is not mixed and to
 * 7 and 13 otherwise, and table_select[2] keeps its value; with 0, block_type and mixed_block_flag
 * are set to 0 and subblock_gain keeps its values. preflag is written for id 1 only; for id 0
 * qorsUnpackScaleFactors_MP3_1u8s() sets it.
 *
 * @param[in,out] ppBitStream        pointer to the first byte, which follows the frame header;
 *                                   moves behind the last one
 * @param[out]    pDstSideInfo       records in the order granule, then channel: 1, 2 or 4
 * @param[out]    pDstMainDataBegin  main-data bytes of the frames before that belong to this one: 0
 *                                   to 511 (id 1) or 255 (id 0)
 * @param[out]    pDstPrivateBits    5 bits (single channel) or 3 for id 1, 1 or 2 for id 0
 * @param[out]    pDstScfsi          flags 0 or 1, index channel * 4 + group; written for id 1 only
 * @param[in]     pFrameHeader       the frame's header: id, layer and mode
 * @retval qorStsNullPtrErr        any pointer or *ppBitStream null
 * @retval qorStsMp3FrameHeaderErr id outside 0 to 1; layer not 1; mode outside 0 to 3
 * @retval qorStsMp3SideInfoErr    late: block_type 0 with window_switching_flag 1. The fields read
 *                                 so far are written, *ppBitStream stands on the byte of the next
 *                                 bit
 * @source ISO 11172-3, clauses 2.4.1.7 and 2.4.2.7; ISO 13818-3 for id 0
 */
QorStatus qorsUnpackSideInfo_MP3(Qor8u** ppBitStream, QorMP3SideInfo* pDstSideInfo,
                                 Qor32s* pDstMainDataBegin, Qor32s* pDstPrivateBits,
                                 Qor32s* pDstScfsi, const QorMP3FrameHeader* pFrameHeader);

/**
 * Reads the scale factors of one granule and channel.
 *
 * For id 0, channel 1 and bit 0 of mode_extension set they are intensity positions, whatever mode
 * says; an illegal one, the largest of its length, is stored negated.
 *
 * @param[in,out] ppBitStream      pointer to the bit cursor's byte; moves behind the last bit read
 * @param[in,out] pOffset          bits used of that byte, 0 to 7
 * @param[out]    pDstScaleFactor  39 bytes:
 *                                 - long block: band b at b, 0 at 21 (id 0: zeros at 21 to 23);
 *                                 - short block: band * 3 + window, then three zeros;
 *                                 - mixed block: the long bands (8 for id 1, 6 for id 0), then from
 *                                   band 3 on band and window in order, then three zeros.
 *                                 .
 *                                 A group of a second granule's long block that scfsi shares keeps
 *                                 its values: use one array for both granules of a channel
 * @param[in,out] pSideInfo        record of this granule and channel: scalefac_compress, block_type
 *                                 and mixed_block_flag, which for block_type 2 is reduced to its
 *                                 lowest bit. preflag is set unless id is 1
 * @param[in]     pScfsi           the four flags of this channel; read only for long blocks of
 *                                 granule 1 with id 1
 * @param[in]     pFrameHeader     the frame's header: id (every id but 1 counts as 0),
 *                                 mode_extension
 * @param[in]     granule          0 or 1
 * @param[in]     channel          0 or 1
 * @retval qorStsNullPtrErr        any pointer or *ppBitStream null
 * @retval qorStsBadArgErr         *pOffset outside 0 to 7; granule outside 0 to 1; channel outside
 *                                 0 to 1
 * @retval qorStsMp3SideInfoErr    scalefac_compress outside 0 to 15 (id 1) or 0 to 511
 * @retval qorStsMp3FrameHeaderErr id not 1: mode_extension outside 0 to 3
 * @source ISO 11172-3, clauses 2.4.1.7 and 2.4.2.7; ISO 13818-3, clause 2.4.3.2
 */
QorStatus qorsUnpackScaleFactors_MP3_1u8s(Qor8u** ppBitStream, Qor32s* pOffset,
                                          Qor8s* pDstScaleFactor, QorMP3SideInfo* pSideInfo,
                                          const Qor32s* pScfsi,
                                          const QorMP3FrameHeader* pFrameHeader, int granule,
                                          int channel);

/* --- Huffman decoding --- */

/**
 * @name Huffman decoding with fixed first regions
 * @{
 */
/**
 * Decodes the spectrum of one granule and channel: the big-values regions, then quadruples.
 *
 * The cursor ends hufSize bits behind its start, and a quadruple that runs past this end does not
 * count. The regions do not test their budget while they decode: leave 2 KB of readable zeros
 * behind the main data. A hufSize of 0 gives zeros whatever big_values says. No late error writes
 * the bound.
 *
 * With window_switching_flag 0 there are three regions, of which the first two end at the long
 * boundaries region0_count + 1 and region0_count + region1_count + 2. With 1 there are two, and the
 * first ends at line 36, or 54 for id 0 with a block_type other than 2; a mixed block is no
 * exception. qorsHuffmanDecode_MP3_1u32s() uses the standard's boundaries.
 *
 * @param[in,out] ppBitStream       pointer to the bit cursor's byte
 * @param[in,out] pOffset           bits used of that byte, 0 to 7
 * @param[out]    pDstIs            576 values in the order of the stream, -8206 to 8206
 * @param[out]    pDstNonZeroBound  one more than the index of the last non-zero value, 0 to 576
 * @param[in]     pSideInfo         record of this granule and channel
 * @param[in]     pFrameHeader      the frame's header: id, layer and sampling_frequency
 * @param[in]     hufSize           bits of the spectrum, 0 to part2_3_length: that less the bits of
 *                                  the scale factors
 * @param[in]     pSfbTableLong     Sfb form: boundaries of the long bands, 6 rows of 23, row
 *                                  id * 3 + sampling_frequency; read when window_switching_flag is
 *                                  0, not tested for null
 * @retval qorStsNullPtrErr        any pointer but pSfbTableLong, or *ppBitStream, null
 * @retval qorStsBadArgErr         *pOffset outside 0 to 7; hufSize outside 0 to part2_3_length
 * @retval qorStsMp3SideInfoErr    big_values outside 0 to 288; block_type outside 0 to 3;
 *                                 window_switching_flag outside 0 to 1; count1table_select outside
 *                                 0 to 1
 * @retval qorStsMp3FrameHeaderErr id outside 0 to 1; layer not 1; sampling_frequency outside 0 to 2
 * @retval qorStsMp3SideInfoErr    window_switching_flag 0: region0_count or region1_count below 0
 *                                 or their sum above 20; window_switching_flag 1: block_type 0
 * @retval qorStsMp3SideInfoErr    late: a table_select outside 0 to 31, tested where its region
 *                                 begins; the regions before are written, the cursor stands behind
 *                                 them. With hufSize 0 each in use is tested first, and nothing is
 *                                 written
 * @retval qorStsErr               late: the regions took more than hufSize bits. Their values are
 *                                 written, the cursor stands behind them
 * @source ISO 11172-3, clause 2.4.1.7 and Table B.7
 */
QorStatus qorsHuffmanDecode_MP3_1u32s(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s* pDstIs,
                                      Qor32s* pDstNonZeroBound, const QorMP3SideInfo* pSideInfo,
                                      const QorMP3FrameHeader* pFrameHeader, int hufSize);
QorStatus qorsHuffmanDecodeSfb_MP3_1u32s(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s* pDstIs,
                                         Qor32s* pDstNonZeroBound, const QorMP3SideInfo* pSideInfo,
                                         const QorMP3FrameHeader* pFrameHeader, int hufSize,
                                         const Qor16s (*pSfbTableLong)[23]);
/** @} */

/**
 * Decodes the spectrum of one granule and channel like qorsHuffmanDecodeSfb_MP3_1u32s(), but with
 * window switching the tables tell the first region.
 *
 * What is said there of the cursor, of the room behind the data and of hufSize 0 holds here too.
 * With window_switching_flag 1 the first region ends
 *
 * - at long boundary 8 for block_type 1 and 3;
 * - at three times short boundary 3 for block_type 2 that is not mixed;
 * - in a mixed block behind the long bands and the steps that pMbpTable tells, each step of the
 *   width of a short band. The first of these bands is the one that holds the line behind the long
 *   bands (short boundaries times three); it makes two steps, each later one three.
 *
 * @param[in,out] ppBitStream       pointer to the bit cursor's byte
 * @param[in,out] pOffset           bits used of that byte, 0 to 7
 * @param[out]    pDstIs            576 values in the order of the stream, -8206 to 8206
 * @param[out]    pDstNonZeroBound  one more than the index of the last non-zero value, 0 to 576
 * @param[in]     pSideInfo         record of this granule and channel
 * @param[in]     pFrameHeader      the frame's header: id, layer and sampling_frequency
 * @param[in]     hufSize           bits of the spectrum, 0 to part2_3_length: that less the bits of
 *                                  the scale factors
 * @param[in]     pSfbTableLong     boundaries of the long bands, 6 rows of 23, row
 *                                  id * 3 + sampling_frequency; like the other tables not tested
 *                                  for null
 * @param[in]     pSfbTableShort    boundaries of the short bands in lines of one window, 6 rows of
 *                                  14
 * @param[in]     pMbpTable         first region of mixed blocks, 6 rows of two: long bands, 0 to
 *                                  22, and steps of short bands
 * @retval qorStsNullPtrErr        any pointer but the three tables, or *ppBitStream, null
 * @retval qorStsBadArgErr         *pOffset outside 0 to 7
 * @retval qorStsMp3FrameHeaderErr id outside 0 to 1
 * @retval qorStsMp3SideInfoErr    big_values outside 0 to 288; block_type outside 0 to 3;
 *                                 window_switching_flag outside 0 to 1, or 1 with block_type 0
 * @retval qorStsMp3FrameHeaderErr layer not 1; sampling_frequency outside 0 to 2
 * @retval qorStsMp3SideInfoErr    count1table_select outside 0 to 1; hufSize outside 0 to
 *                                 part2_3_length; window_switching_flag 0: region0_count or
 *                                 region1_count below 0 or their sum above 20
 * @retval qorStsMp3SideInfoErr    late: a table_select outside 0 to 31, tested where its region
 *                                 begins; the regions before are written, the cursor stands behind
 *                                 them. With hufSize 0 each in use is tested first, and nothing is
 *                                 written
 * @retval qorStsErr               late: the regions took more than hufSize bits. Their values are
 *                                 written, the cursor stands behind them
 * @source ISO 11172-3, clause 2.4.1.7 and Table B.7
 */
QorStatus qorsHuffmanDecodeSfbMbp_MP3_1u32s(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s* pDstIs,
                                            Qor32s* pDstNonZeroBound,
                                            const QorMP3SideInfo* pSideInfo,
                                            const QorMP3FrameHeader* pFrameHeader, int hufSize,
                                            const Qor16s (*pSfbTableLong)[23],
                                            const Qor16s (*pSfbTableShort)[14],
                                            const Qor16s (*pMbpTable)[2]);

/* --- requantization --- */

/**
 * @name Requantization
 * @{
 */
/**
 * Turns the Huffman values of a granule's channels into spectral lines: power law and gains,
 * mid/side and intensity stereo, reordering of short blocks.
 *
 * Mid/side (bit 1 of mode_extension) and intensity (bit 0) are in force only for mode 1. A line out
 * of 32 bits saturates when its value is 16 or more in magnitude, and wraps below. With id 0 the
 * lowest bit of the right channel's scalefac_compress is intensity_scale. A late error leaves lines
 * and bounds undefined. qorsReQuantize_MP3_32s_I() uses the standard's band boundaries.
 *
 * @param[in,out] pIsXr           576 values of each channel (one for mode 3, else two), channel 1
 *                                behind channel 0. In: Huffman values, -8206 to 8206. Out: lines in
 *                                Q26, 32 sub-bands of 18; in a sub-band of a short block six lines
 *                                of each window after the other. The lines of a short block are
 *                                defined up to its bound, rounded up to a multiple of 18
 * @param[in,out] pNonZeroBound   a value for each channel. In: the bound of Huffman decoding, 0 to
 *                                576, from which on the values are 0. Out: one more than the index
 *                                of the last non-zero line
 * @param[in]     pScaleFactor    40 bytes of each channel, as qorsUnpackScaleFactors_MP3_1u8s()
 *                                stores them. Entry 21 (long), 36 to 38 (short), 35 to 37 (mixed,
 *                                id 1) or 33 to 35 (mixed, id 0) is the intensity position of the
 *                                last band, which the stream does not carry: the caller supplies
 *                                it, 0 without intensity
 * @param[in]     pSideInfo       the granule's records, one of each channel
 * @param[in]     pFrameHeader    the frame's header: id, sampling_frequency, mode and
 *                                mode_extension
 * @param[out]    pBuffer         scratch of 576 values
 * @param[in]     pSfbTableLong   Sfb form: boundaries of the long bands, 6 rows of 23, row
 *                                id * 3 + sampling_frequency
 * @param[in]     pSfbTableShort  Sfb form: boundaries of the short bands in lines of one window, 6
 *                                rows of 14
 * @retval qorStsNullPtrErr        any pointer null
 * @retval qorStsMp3FrameHeaderErr id outside 0 to 1; sampling_frequency outside 0 to 2; mode
 *                                 outside 0 to 3; mode_extension outside 0 to 3
 * @retval qorStsMp3SideInfoErr    with mid/side or intensity: block_type or mixed_block_flag differ
 *                                 between the channels; channel 0: block_type outside 0 to 3;
 *                                 mixed_block_flag outside 0 to 1
 * @retval qorStsBadArgErr         channel 0: bound outside 0 to 576
 * @retval qorStsMp3SideInfoErr    channel 1: block_type outside 0 to 3; mixed_block_flag outside 0
 *                                 to 1
 * @retval qorStsBadArgErr         channel 1: bound outside 0 to 576
 * @retval qorStsMp3SideInfoErr    late, channel by channel with the next: global_gain outside 0 to
 *                                 255; scalefac_scale outside 0 to 1; preflag outside 0 to 1
 * @retval qorStsErr               late: a magnitude above 8206; in a short block a subblock_gain
 *                                 outside 0 to 7
 * @retval qorStsErr               late, behind both channels: with id 1 an intensity position
 *                                 outside 0 to 7
 * @source ISO 11172-3, clauses 2.4.3.4 and 2.4.3.4.9; ISO 13818-3, clause 2.4.3.2
 */
QorStatus qorsReQuantize_MP3_32s_I(Qor32s* pIsXr, Qor32s* pNonZeroBound, Qor8s* pScaleFactor,
                                   const QorMP3SideInfo* pSideInfo,
                                   const QorMP3FrameHeader* pFrameHeader, Qor32s* pBuffer);
QorStatus qorsReQuantizeSfb_MP3_32s_I(Qor32s* pIsXr, Qor32s* pNonZeroBound, Qor8s* pScaleFactor,
                                      const QorMP3SideInfo* pSideInfo,
                                      const QorMP3FrameHeader* pFrameHeader, Qor32s* pBuffer,
                                      const Qor16s (*pSfbTableLong)[23],
                                      const Qor16s (*pSfbTableShort)[14]);
/** @} */

/* --- hybrid synthesis --- */

/**
 * Takes one granule and channel from spectral lines to sub-band samples: alias reduction, inverse
 * MDCT with window and overlap-add, frequency inversion.
 *
 * The sub-bands that nonZeroBound reaches are transformed, and unless the block is short one more,
 * into which alias reduction spreads. Those beyond that the last call computed still give their
 * overlap; the rest is 0.
 *
 * @param[in,out] pSrcXr             576 lines in Q26; alias reduction changes them in place
 * @param[out]    pDstY              18 rows of 32 sub-band samples in Q24; the column is the
 *                                   sub-band
 * @param[in,out] pSrcDstOverlapAdd  the channel's 576 values, 18 of each sub-band; zeros before the
 *                                   first granule
 * @param[in]     nonZeroBound       one more than the index of the last non-zero line, 0 to 576:
 *                                   the lines from there on must be 0
 * @param[in,out] pPrevNumOfImdct    the channel's number of sub-bands that the last call computed,
 *                                   0 to 32; 0 before the first granule
 * @param[in]     blockType          0 long, 1 start, 2 short, 3 stop
 * @param[in]     mixedBlock         1: the two lowest sub-bands are long with the normal window;
 *                                   else 0
 * @retval qorStsNullPtrErr any pointer null
 * @retval qorStsBadArgErr  nonZeroBound outside 0 to 576; blockType outside 0 to 3; mixedBlock
 *                          outside 0 to 1; *pPrevNumOfImdct outside 0 to 32
 * @source ISO 11172-3, clause 2.4.3.4.10
 */
QorStatus qorsMDCTInv_MP3_32s(Qor32s* pSrcXr, Qor32s* pDstY, Qor32s* pSrcDstOverlapAdd,
                              int nonZeroBound, Qor32s* pPrevNumOfImdct, int blockType,
                              int mixedBlock);

/**
 * Takes one sub-band through the inverse MDCT and the window, at a quarter of the standard's scale:
 * lines in Q26 give values in Q24.
 *
 * @param[in]  pSrc       18 lines; for blockType 2 three windows of six, one after the other
 * @param[out] pDst       36 values, of which the first 18 are to be added to the overlap and the
 *                        others are the new overlap; does not overlap pSrc
 * @param[in]  blockType  0 long, 1 start, 2 short, 3 stop
 * @retval qorStsNoErr always: no argument is tested
 * @source ISO 11172-3, clause 2.4.3.4.10
 */
QorStatus qorsMDCTInvWindow_MP3_32s(const Qor32s* pSrc, Qor32s* pDst, int blockType);

/**
 * Makes 32 samples of 16-bit PCM of one row of 32 sub-band samples: polyphase synthesis.
 *
 * Call it for rows 0 to 17 of a granule. Full scale is 32768; samples are rounded, and clamped to
 * -32768 and 32767.
 *
 * @param[in]     pSrcY         32 sub-band samples in Q24
 * @param[out]    pDstAudioOut  32 samples at 0, mode, 2 * mode, ...; what is between them stays
 * @param[in,out] pVBuffer      the channel's 512 values, zeros before the first call; what they
 *                              mean is the library's
 * @param[in,out] pVPosition    the channel's place in them, 0 to 15; 0 before the first call
 * @param[in]     mode          distance of the samples: 1 single channel, 2 interleaved stereo
 * @retval qorStsNullPtrErr any pointer null
 * @retval qorStsBadArgErr  mode outside 1 to 2; *pVPosition outside 0 to 15
 * @source ISO 11172-3, clause 2.4.3.2
 */
QorStatus qorsSynthPQMF_MP3_32s16s(const Qor32s* pSrcY, Qor16s* pDstAudioOut, Qor32s* pVBuffer,
                                   Qor32s* pVPosition, int mode);

/** @} */

/* ================================================================ MP3 float filter banks ==== */

/**
 * @addtogroup mp3bank
 * @{
 */

/*
 * The 32-band polyphase filter banks in 32-bit floats, 32 samples a call. Unlike the integer banks
 * they keep their history in a context, one for each channel and direction. A context is written by
 * its filter, so it is for one thread at a time; it cannot be moved or copied.
 */

/**
 * @name Size of a context
 * @{
 */
/**
 * Gives the bytes of the memory that a context needs.
 *
 * @param[out] pSize  2107 for either direction, room for alignment included
 * @retval qorStsNullPtrErr pSize null
 * @source this library's own context life cycle
 */
QorStatus qorsAnalysisFilterGetSize_PQMF_MP3_32f(Qor32s* pSize);
QorStatus qorsSynthesisFilterGetSize_PQMF_MP3_32f(Qor32s* pSize);
/** @} */

/**
 * @name Context in the caller's memory
 * @{
 */
/**
 * Builds a context with a silent history in the caller's memory.
 *
 * It stands at the first multiple of 16 bytes. The other functions take this place or pMemory
 * itself.
 *
 * @param[out] ppSpec   the context's place
 * @param[out] pMemory  the bytes that GetSize tells, at any alignment; the context lives there
 * @retval qorStsNullPtrErr ppSpec or pMemory null
 * @source this library's own context life cycle
 */
QorStatus qorsAnalysisFilterInit_PQMF_MP3_32f(QorsFilterSpec_PQMF_MP3_32f** ppSpec, Qor8u* pMemory);
QorStatus qorsSynthesisFilterInit_PQMF_MP3_32f(QorsFilterSpec_PQMF_MP3_32f** ppSpec,
                                               Qor8u* pMemory);
/** @} */

/**
 * @name Context in memory of its own
 * @{
 */
/**
 * Allocates a context and builds it with a silent history.
 *
 * The allocation must succeed: it is not tested.
 *
 * @param[out] ppSpec  the context, to be released by Free
 * @retval qorStsNullPtrErr ppSpec null
 * @source this library's own context life cycle
 */
QorStatus qorsAnalysisFilterInitAlloc_PQMF_MP3_32f(QorsFilterSpec_PQMF_MP3_32f** ppSpec);
QorStatus qorsSynthesisFilterInitAlloc_PQMF_MP3_32f(QorsFilterSpec_PQMF_MP3_32f** ppSpec);
/** @} */

/**
 * @name Release of a context
 * @{
 */
/**
 * Releases what InitAlloc allocated.
 *
 * A context made by Init stays as it is and can be used on.
 *
 * @param[in,out] pSpec  a context of the same direction
 * @retval qorStsNullPtrErr      pSpec null
 * @retval qorStsContextMatchErr pSpec not a context of this direction
 * @source this library's own context life cycle
 */
QorStatus qorsAnalysisFilterFree_PQMF_MP3_32f(QorsFilterSpec_PQMF_MP3_32f* pSpec);
QorStatus qorsSynthesisFilterFree_PQMF_MP3_32f(QorsFilterSpec_PQMF_MP3_32f* pSpec);
/** @} */

/**
 * Takes 32 samples to 32 sub-band values.
 *
 * With X(0) to X(511) the last 512 samples times 1/32768, the newest first, and C the analysis
 * window in the signs of the synthesis window:
 * @code{.unparsed}
 * Y(i) = sum over j from 0 to 7 of C(i + 64 j) X(i + 64 j)
 * S(k) = sum over i from 0 to 63 of cos((2k + 1)(i - 16) pi / 64) Y(i)
 * @endcode
 * The values lie within single-precision rounding of the formulas. 16-bit samples give sub-bands of
 * about 1 at full scale. No pointer needs alignment.
 *
 * @param[in]     pSrcAudio     32 samples, full scale 32768, at 0, mode, 2 * mode, ...
 * @param[out]    pDstSubbands  32 values S(0) to S(31), full scale 1; the same as pSrcAudio or
 *                              without overlap
 * @param[in,out] pSpec         an analysis context; takes the samples into its history
 * @param[in]     mode          distance of the samples, the number of interleaved channels: 1 or 2
 * @retval qorStsNullPtrErr      any pointer null
 * @retval qorStsBadArgErr       mode outside 1 to 2
 * @retval qorStsContextMatchErr pSpec not an analysis context
 * @source ISO 11172-3, clause C.1.3
 */
QorStatus qorsAnalysisFilter_PQMF_MP3_32f(const Qor32f* pSrcAudio, Qor32f* pDstSubbands,
                                          QorsFilterSpec_PQMF_MP3_32f* pSpec, Qor32s mode);

/**
 * Takes 32 sub-band values to 32 samples: the standard's V, U and W with a gain of 1.
 *
 * Behind qorsAnalysisFilter_PQMF_MP3_32f() it gives the input of that one times 1/32768, 481
 * samples later. The values lie within single-precision rounding of the formulas. No pointer needs
 * alignment.
 *
 * @param[in]     pSrcSubbands  32 values, full scale 1
 * @param[out]    pDstAudio     32 samples, full scale 1, at 0, mode, 2 * mode, ...; what is between
 *                              them stays. The same as pSrcSubbands or without overlap
 * @param[in,out] pSpec         a synthesis context; takes the sub-bands into its history
 * @param[in]     mode          distance of the samples, the number of interleaved channels: 1 or 2
 * @retval qorStsNullPtrErr      any pointer null
 * @retval qorStsBadArgErr       mode outside 1 to 2
 * @retval qorStsContextMatchErr pSpec not a synthesis context
 * @source ISO 11172-3, clause 2.4.3.2
 */
QorStatus qorsSynthesisFilter_PQMF_MP3_32f(const Qor32f* pSrcSubbands, Qor32f* pDstAudio,
                                           QorsFilterSpec_PQMF_MP3_32f* pSpec, Qor32s mode);

/** @} */

/* ================================================================ AAC ======================= */

/**
 * @addtogroup aac
 * @{
 */

/*
 * Decoding of AAC streams of ISO/IEC 13818-7 and 14496-3. The caller reads the 3-bit element id
 * and, for SCE, CPE, CCE and LFE elements, the 4-bit tag. In order:
 *
 *  1. once per stream or frame qorsUnpackADIFHeader_AAC() or qorsUnpackADTSFrameHeader_AAC();
 *  2. per element: PCE, DSE and FIL go to their parsers directly behind the id, a CPE goes to
 *     qorsDecodeChanPairElt_AAC() or its MP4 twin behind the tag;
 *  3. per channel qorsNoiselessDecoder_LC_AAC() or qorsNoiselessDecode_AAC(), then
 *     qorsQuantInv_AAC_32s_I();
 *  4. per pair qorsDecodeMsStereo_AAC_32s_I(); in the Main profile qorsFDPInv_32f_I(), in floats;
 *     per pair qorsDecodeIsStereo_AAC_32s(), which reads the code books that M/S changes;
 *  5. short blocks: qorsDeinterleaveSpectrum_AAC_32s();
 *  6. noise substitution, in short blocks window by window;
 *  7. per channel long-term prediction, qorsDecodeTNS_AAC_32s_I(), qorsLtpUpdate_AAC_32s() and a
 *     synthesis, which destroys the spectrum.
 *
 * Cursor. A refused argument changes neither cursor nor record. A failure in the stream leaves the
 * record filled up to there, the refused value included, and the cursor behind the last bit read.
 * Behind the bytes of a frame the caller leaves room for the longest element that damaged data can
 * describe, and compares the cursor with the frame's end after each call.
 *
 * Spectrum. 1024 coefficients of one channel in Q3 on the scale of the standard (1.0 is 8), with no
 * guard bits; additions wrap unless a function says otherwise. Up to the deinterleaving a block of
 * short windows stands in grouped order: for each group, band by band, the windows of the group one
 * after the other. From there on it stands in window order, 128 coefficients a window.
 *
 * Band counts by sampling_frequency_index, 0 to 11: long windows 41 41 47 49 49 51 47 47 43 43 43
 * 40, short ones 12 12 12 14 14 14 15 15 15 15 15 15.
 */

/**
 * @name Headers and elements without audio
 * @{
 */

/**
 * Reads adif_header with its program configuration elements.
 *
 * Works from bit 0 of the byte at `*ppBitStream`, which stands on the byte reached on return; bits
 * left over in it are lost. adif_id is stored and not compared with anything.
 *
 * @param[in,out] ppBitStream   pointer to the pointer to the first byte of the header
 * @param[out]    pAdifHeader   the fields as in the stream, the count of elements plus 1;
 *                              adif_buffer_fullness is written for bitstream_type 0 only,
 *                              copyright_id with copyright_id_present only
 * @param[out]    pPrgCfgElt    prgCfgEltMax records, of which as many as the stream holds elements
 *                              are filled
 * @param[in]     prgCfgEltMax  1 to 16
 * @retval qorStsNullPtrErr      any pointer null, `*ppBitStream` included
 * @retval qorStsAacPceCountErr  prgCfgEltMax outside 1 to 16; the stream holds more elements than
 *                               that: the header is filled up to the count, no element is decoded,
 *                               `*ppBitStream` stands 7 bytes behind the start, or 16 with a
 *                               copyright id
 * @source ISO/IEC 13818-7, clause 6.2
 */
QorStatus qorsUnpackADIFHeader_AAC(Qor8u** ppBitStream, QorAACAdifHeader* pAdifHeader,
                                   QorAACPrgCfgElt* pPrgCfgElt, Qor32s prgCfgEltMax);

/**
 * Reads adts_fixed_header, adts_variable_header and, with protection_absent 0, the 16-bit CRC word.
 *
 * They take 56 or 72 bits from bit 0 of the byte at `*ppBitStream`. The syncword is read over and
 * not tested.
 *
 * @param[in,out] ppBitStream  pointer to the pointer to the first byte of the header; moved on by 7
 *                             or 9 bytes
 * @param[out]    pAdtsHeader  the fields as in the stream, the number of raw data blocks plus 1;
 *                             adtsReserved is not touched, crc_check only with protection_absent 0
 * @retval qorStsNullPtrErr  any pointer null, `*ppBitStream` included
 * @source ISO/IEC 13818-7, clause 6.2
 */
QorStatus qorsUnpackADTSFrameHeader_AAC(Qor8u** ppBitStream, QorAACAdtsHeader* pAdtsHeader);

/**
 * Reads a program_config_element, behind its id.
 *
 * The comment begins at a byte boundary of the cursor.
 *
 * @param[in,out] ppBitStream  cursor: pointer to the pointer to the current byte
 * @param[in,out] pOffset      cursor: bits of that byte in use, 0 to 7
 * @param[out]    pPrgCfgElt   the fields as in the stream. Mix-down numbers whose flag is not set
 *                             become 0; entries of the lists beyond their counts are not touched
 * @retval qorStsNullPtrErr       any pointer null, `*ppBitStream` included
 * @retval qorStsAacBitOffsetErr  `*pOffset` outside 0 to 7
 * @source ISO/IEC 13818-7, clause 6.3
 */
QorStatus qorsDecodePrgCfgElt_AAC(Qor8u** ppBitStream, Qor32s* pOffset,
                                  QorAACPrgCfgElt* pPrgCfgElt);

/**
 * Reads a data_stream_element, behind its id.
 *
 * @param[in,out] ppBitStream  cursor: pointer to the pointer to the current byte
 * @param[in,out] pOffset      cursor: bits of that byte in use, 0 to 7
 * @param[out]    pDataTag     element_instance_tag, 0 to 15
 * @param[out]    pDataCnt     number of bytes, 0 to 510
 * @param[out]    pDataElt     the bytes; room for 510
 * @retval qorStsNullPtrErr       any pointer null, `*ppBitStream` included
 * @retval qorStsAacBitOffsetErr  `*pOffset` outside 0 to 7
 * @source ISO/IEC 13818-7, clause 6.3
 */
QorStatus qorsDecodeDatStrElt_AAC(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s* pDataTag,
                                  Qor32s* pDataCnt, Qor8u* pDataElt);

/**
 * Reads a fill_element, behind its id.
 *
 * The extension_type in the upper 4 bits of the first byte is not interpreted.
 *
 * @param[in,out] ppBitStream  cursor: pointer to the pointer to the current byte
 * @param[in,out] pOffset      cursor: bits of that byte in use, 0 to 7
 * @param[out]    pFillCnt     number of bytes, 0 to 269
 * @param[out]    pFillElt     the bytes; room for 269
 * @retval qorStsNullPtrErr       any pointer null, `*ppBitStream` included
 * @retval qorStsAacBitOffsetErr  `*pOffset` outside 0 to 7
 * @source ISO/IEC 13818-7, clause 6.3
 */
QorStatus qorsDecodeFillElt_AAC(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s* pFillCnt,
                                Qor8u* pFillElt);

/** @} */

/**
 * @name Channel pair
 * @{
 */
/**
 * Reads what the channels of a channel_pair_element share, behind its tag: common_window and, when
 * it is set, ics_info and the M/S mask.
 *
 * With common_window 0 nothing else is read or written. The MP4 twin differs in what the flag
 * predictor_data_present brings: predictor data in object type 1 only, in any other ltp_data of
 * both channels.
 *
 * @param[in,out] ppBitStream      cursor: pointer to the pointer to the current byte
 * @param[in,out] pOffset          cursor: bits of that byte in use, 0 to 7
 * @param[out]    pIcsInfo         ics_info of both channels. predictor_data_present is 0 where the
 *                                 stream has no such flag, predictor_reset is cleared in a long
 *                                 block; prediction_used is written with predictor data only
 * @param[out]    pChanPairElt     ms_mask_present with common_window 1 only, ms_used for
 *                                 ms_mask_present 1 only: num_window_groups rows of max_sfb bytes
 * @param[in,out] pMainHeader      MP4: `ltp[0]` and `ltp[1]`, whose ltp_data_present are cleared
 *                                 first, and max_sfb and window_sequence when the flag brings LTP
 *                                 data; may be null while it never does
 * @param[in]     predSfbMax       bands that carry predictor data at the sampling rate, 0 to 41;
 *                                 MP4: 0 to 51, of which the flags above the 41 of prediction_used
 *                                 are read over
 * @param[in]     audioObjectType  MP4: 1 Main; not tested
 * @retval qorStsNullPtrErr       any pointer null but pMainHeader, `*ppBitStream` included
 * @retval qorStsAacBitOffsetErr  `*pOffset` outside 0 to 7
 * @retval qorStsAacPredSfbErr    not MP4: predSfbMax outside 0 to 41
 * @retval qorStsAacMaxSfbErr     MP4: predSfbMax outside 0 to 51; both, in the stream: max_sfb of a
 *                                long block above 51
 * @retval qorStsNullPtrErr       MP4, in the stream: predictor_data_present set, audioObjectType
 *                                not 1 and pMainHeader null
 * @source ISO/IEC 13818-7, clause 6.3; MP4: ISO/IEC 14496-3, subpart 4
 */
QorStatus qorsDecodeChanPairElt_AAC(Qor8u** ppBitStream, Qor32s* pOffset, QorAACIcsInfo* pIcsInfo,
                                    QorAACChanPairElt* pChanPairElt, Qor32s predSfbMax);
QorStatus qorsDecodeChanPairElt_MP4_AAC(Qor8u** ppBitStream, Qor32s* pOffset,
                                        QorAACIcsInfo* pIcsInfo, QorAACChanPairElt* pChanPairElt,
                                        QorAACMainHeader* pMainHeader, Qor32s predSfbMax,
                                        Qor32s audioObjectType);
/** @} */

/**
 * @name Scalable headers
 * @{
 */

/**
 * Reads aac_scalable_main_header: windows, M/S mask, and TNS and LTP data per channel.
 *
 * In a short block num_window_groups is right, but window_group_length holds meaningful lengths
 * only when all windows form one group, and its later entries are not cleared: a caller that needs
 * the lengths takes them from a QorAACIcsInfo. TNS data with an order that is refused (above 12, or
 * 7 in a short block) end there, and the header goes on.
 *
 * @param[in,out] ppBitStream     cursor: pointer to the pointer to the current byte
 * @param[in,out] pOffset         cursor: bits of that byte in use, 0 to 7
 * @param[in,out] pMainHeader     the header. In, for channelNum 2: pMsUsed, 8 rows of 60 bytes;
 *                                out: their bytes row * 60 + band for all max_sfb bands, which may
 *                                pass a row's end: the mask for ms_mask_present 1, ones for 2,
 *                                zeros for 0 and 3. `tns` and `ltp` of the channels are cleared
 *                                before they are read
 * @param[in]     channelNum      1 or 2
 * @param[in]     monoStereoFlag  1: mono layers lie below this one; else 0
 * @retval qorStsNullPtrErr           any pointer null but pMsUsed, `*ppBitStream` included
 * @retval qorStsAacBitOffsetErr      `*pOffset` outside 0 to 7
 * @retval qorStsAacChannelsErr       channelNum outside 1 to 2
 * @retval qorStsAacMonoStereoErr     monoStereoFlag outside 0 to 1
 * @retval qorStsNotSupportedModeErr  monoStereoFlag 1: told at the very end, with the header read
 *                                    and the record complete
 * @source ISO/IEC 14496-3, subpart 4
 */
QorStatus qorsDecodeMainHeader_AAC(Qor8u** ppBitStream, Qor32s* pOffset,
                                   QorAACMainHeader* pMainHeader, Qor32s channelNum,
                                   Qor32s monoStereoFlag);

/**
 * Reads aac_scalable_extension_header: max_sfb, M/S mask, TNS data and diff_control_lr.
 *
 * In a short block four rows of the mask are read whatever the grouping. diff_control_lr is read
 * for both channels and packed: in a long block a bit for each band from preSfb to below both
 * maxSfbLimit and max_sfb whose byte in the first row of the mask is 0; in a short block 8 bits if
 * preSfb is 0, else none. TNS data with an order that is refused (above 12, or 7 in a short block)
 * end there, and the header goes on.
 *
 * @param[in,out] ppBitStream      cursor: pointer to the pointer to the current byte
 * @param[in,out] pOffset          cursor: bits of that byte in use, 0 to 7
 * @param[in,out] pExtHeader       the header. In, for thisLayerStereo 1: pMsUsed, 1 row of 60
 *                                 bytes, or 4 in a short block, of which the bands from preSfb on
 *                                 are written for ms_mask_present 1; the first is read for
 *                                 diff_control_lr: initialise it. `tns` is not cleared
 * @param[in]     monoStereoFlag   1: TNS data of both channels follow the mask; else 0
 * @param[in]     thisLayerStereo  1: ms_mask_present and, when it is 1, the mask of the bands from
 *                                 preSfb on are read; else 0
 * @param[in]     monoLayerFlag    1, with thisLayerStereo 1: diff_control_lr is read; else 0
 * @param[in]     preSfb           max_sfb of the layer below, 0 to 51
 * @param[in]     maxSfbLimit      max_sfb of the last mono layer, 0 to 51
 * @param[in]     window_sequence  of the main header, 0 to 3
 * @retval qorStsNullPtrErr         any pointer null but pMsUsed, `*ppBitStream` included
 * @retval qorStsAacBitOffsetErr    `*pOffset` outside 0 to 7
 * @retval qorStsAacMonoStereoErr   monoStereoFlag outside 0 to 1
 * @retval qorStsAacStereoLayerErr  thisLayerStereo outside 0 to 1
 * @retval qorStsAacMonoLayerErr    monoLayerFlag outside 0 to 1
 * @retval qorStsAacMaxSfbErr       preSfb or maxSfbLimit outside 0 to 51
 * @retval qorStsAacWinSeqErr       window_sequence outside 0 to 3
 * @retval qorStsAacMaxSfbErr       in the stream: max_sfb of a long block above 60
 * @source ISO/IEC 14496-3, subpart 4
 */
QorStatus qorsDecodeExtensionHeader_AAC(Qor8u** ppBitStream, Qor32s* pOffset,
                                        QorAACExtHeader* pExtHeader, Qor32s monoStereoFlag,
                                        Qor32s thisLayerStereo, Qor32s monoLayerFlag, Qor32s preSfb,
                                        Qor32s maxSfbLimit, Qor32s window_sequence);

/** @} */

/**
 * @name Noiseless decoding
 * @{
 */

/**
 * Reads an individual_channel_stream of the LC profile from global_gain to the end of the spectral
 * data.
 *
 * After a failure among the scale factors the cursor stands where they begin, after an escape that
 * is too long where the coefficients of its section begin.
 *
 * @param[in,out] ppBitStream   cursor: pointer to the pointer to the current byte
 * @param[in,out] pOffset       cursor: bits of that byte in use, 0 to 7
 * @param[in]     commonWin     1: `pChanInfo->pIcsInfo` is filled, by qorsDecodeChanPairElt_AAC();
 *                              0: the channel's own ics_info is read into it
 * @param[in,out] pChanInfo     in: samplingRateIndex 0 to 11, predSfbMax 0 and pIcsInfo. Out:
 *                              winLen, numWin, numSwb, global_gain, the three presence flags, the
 *                              sections and, with tns_data_present, the TNS fields as
 *                              qorsDecodeTNS_AAC_32s_I() takes them. Without it only `n_filt[0]` is
 *                              cleared
 * @param[out]    pScaleFactor  max_sfb entries for each window group, without gaps, at most 120: 0
 *                              for code book 0, the scale factor, 0 to 255, for 1 to 11, the
 *                              running position of intensity for 14 and 15
 * @param[out]    pSpectrum     1024 quantized values in Q0, up to 8191 in magnitude, pulses added
 *                              behind that, grouped order; 0 where no section lies
 * @param[out]    pSfbCb        code book of each band, in the order of pScaleFactor
 * @param[out]    pTnsCoef      TNS coefficients in stream order, sign-extended; room for 60
 * @retval qorStsNullPtrErr          any pointer null, `*ppBitStream` and `pChanInfo->pIcsInfo`
 *                                   included
 * @retval qorStsAacBitOffsetErr     `*pOffset` outside 0 to 7
 * @retval qorStsAacCommonWindowErr  commonWin outside 0 to 1
 * @retval qorStsAacSampRateIdxErr   samplingRateIndex outside 0 to 11
 * @retval qorStsAacPredSfbErr       predSfbMax not 0
 * @retval qorStsAacMaxSfbErr        from here on in the stream: max_sfb of a long block above 51;
 *                                   max_sfb above the band count
 * @retval qorStsAacSectionErr       the sections of a group do not end at max_sfb, or are more than
 *                                   120 in all
 * @retval qorStsAacCodebookErr      a band of code book 12 or 13
 * @retval qorStsAacScaleFactorErr   a scale factor outside 0 to 255; of this and the status above
 *                                   what the first such band gives
 * @retval qorStsAacPulseErr         pulse data in a short block, or with a start band that does not
 *                                   exist
 * @retval qorStsAacTnsOrderErr      an order above 12, or above 7 in a short block
 * @retval qorStsAacGainControlErr   gain control data
 * @retval qorStsAacQuantMaxErr      an escape of more than 8 ones, above 8191: the pair that it
 *                                   belongs to is not stored
 * @retval qorStsAacPulseErr         a pulse behind coefficient 1023: those before it have been
 *                                   added
 * @source ISO/IEC 13818-7, clauses 6.3 and 9 to 11
 */
QorStatus qorsNoiselessDecoder_LC_AAC(Qor8u** ppBitStream, Qor32s* pOffset, Qor32s commonWin,
                                      QorAACChanInfo* pChanInfo, Qor16s* pScaleFactor,
                                      Qor32s* pSpectrum, Qor8u* pSfbCb, Qor8s* pTnsCoef);

/**
 * Reads an individual_channel_stream of the MPEG-4 object types, or a channel of a scalable layer.
 *
 * As qorsNoiselessDecoder_LC_AAC(), with predictor data or long-term prediction, and with noise
 * bands, those of code book 13. The first one of the call sets the running scale factor, which
 * noise bands share with the spectrum bands, to its 9 bits - 346 + global_gain, untested; those
 * after it add their difference and face the range test.
 *
 * @param[in,out] ppBitStream      cursor: pointer to the pointer to the current byte
 * @param[in,out] pOffset          cursor: bits of that byte in use, 0 to 7
 * @param[in,out] pMainHeader      scaleFlag 0, where the channel's own ics_info is read: both
 *                                 ltp_data_present are cleared, LTP data go to `ltp[0]` and to
 *                                 max_sfb and window_sequence; may be null while the stream has
 *                                 none. scaleFlag 1, in: num_window_groups and window_group_length
 * @param[out]    pScaleFactor     max_sfb entries for each window group, without gaps, at most 120,
 *                                 or 8 * maxSfb with scaleFlag 1: 0 for code book 0, the running
 *                                 scale factor for 1 to 11 and 13, the running position for 14 and
 *                                 15
 * @param[out]    pSpectrum        1024 quantized values in Q0, up to 8191 in magnitude, pulses
 *                                 added behind that, grouped order; 0 where no section lies and in
 *                                 bands of noise or intensity
 * @param[out]    pSfbCb           code book of each band, in the order of pScaleFactor
 * @param[out]    pTnsCoef         TNS coefficients in stream order, sign-extended; room for 60; not
 *                                 written with scaleFlag 1
 * @param[in,out] pChanInfo        in: samplingRateIndex 0 to 11, predSfbMax and, with scaleFlag 0,
 *                                 pIcsInfo. Out as in the LC twin; with scaleFlag 1 the presence
 *                                 flags and the TNS fields keep what they held
 * @param[in]     windowSequence   0 to 3; in use with scaleFlag 1 only
 * @param[in]     maxSfb           0 to 51; in use with scaleFlag 1 only
 * @param[in]     commonWin        1: `pChanInfo->pIcsInfo` is filled, by
 *                                 qorsDecodeChanPairElt_MP4_AAC(); 0: the channel's own ics_info is
 *                                 read into it; without effect with scaleFlag 1
 * @param[in]     scaleFlag        1: a layer of a scalable stream, with the windows of the
 *                                 arguments and of pMainHeader, whose data end without pulse, TNS
 *                                 and gain control fields; else 0
 * @param[in]     audioObjectType  0 to 16; 1: ics_info has predictor data, any other: LTP data
 * @retval qorStsNullPtrErr          any pointer null but pMainHeader, `*ppBitStream` included
 * @retval qorStsAacBitOffsetErr     `*pOffset` outside 0 to 7
 * @retval qorStsAacCommonWindowErr  commonWin outside 0 to 1
 * @retval qorStsAacWinSeqErr        windowSequence outside 0 to 3
 * @retval qorStsAacScaleFlagErr     scaleFlag outside 0 to 1
 * @retval qorStsAacObjectTypeErr    audioObjectType outside 0 to 16
 * @retval qorStsAacMaxSfbErr        maxSfb outside 0 to 51
 * @retval qorStsAacSampRateIdxErr   samplingRateIndex outside 0 to 11
 * @retval qorStsNullPtrErr          scaleFlag 0 and `pChanInfo->pIcsInfo` null, or scaleFlag 1 and
 *                                   pMainHeader null
 * @retval qorStsAacMaxSfbErr        from here on in the stream: max_sfb of a long block above 51
 * @retval qorStsNullPtrErr          ics_info read with predictor_data_present set, audioObjectType
 *                                   not 1 and pMainHeader null
 * @retval qorStsErr                 scaleFlag 1 and window groups that do not fit the window
 *                                   sequence
 * @retval qorStsAacSectionErr       the sections of a group do not end at max_sfb, or are more than
 *                                   120 in all
 * @retval qorStsAacCodebookErr      a band of code book 12
 * @retval qorStsAacScaleFactorErr   a running scale factor outside 0 to 255; of this and the status
 *                                   above what the first such band gives
 * @retval qorStsAacPulseErr         scaleFlag 0: pulse data in a short block, or with a start band
 *                                   that does not exist
 * @retval qorStsAacTnsOrderErr      scaleFlag 0: an order above 12, or above 7 in a short block
 * @retval qorStsAacGainControlErr   scaleFlag 0: gain control data
 * @retval qorStsAacQuantMaxErr      an escape of more than 8 ones, above 8191: the pair that it
 *                                   belongs to is not stored
 * @retval qorStsErr                 a section that ends above the band count; of this and the
 *                                   status above what comes first in the stream
 * @retval qorStsAacPulseErr         scaleFlag 0: a pulse behind coefficient 1023: those before it
 *                                   have been added
 * @source ISO/IEC 14496-3, subpart 4
 */
QorStatus qorsNoiselessDecode_AAC(Qor8u** ppBitStream, Qor32s* pOffset,
                                  QorAACMainHeader* pMainHeader, Qor16s* pScaleFactor,
                                  Qor32s* pSpectrum, Qor8u* pSfbCb, Qor8s* pTnsCoef,
                                  QorAACChanInfo* pChanInfo, Qor32s windowSequence, Qor32s maxSfb,
                                  Qor32s commonWin, Qor32s scaleFlag, Qor32s audioObjectType);

/** @} */

/**
 * @name Inverse quantization and order of windows
 * @{
 */

/**
 * Turns quantized values into a spectrum in Q3: sign(x) |x|^(4/3) 2^((scale factor - 100)/4).
 *
 * Results are truncated. Bands of code book 0, of 13 (noise), 14 and 15 (intensity), and what lies
 * above the last band, are left alone. Results that do not fit 32 bits have no meaning: magnitudes
 * below 16 stop growing, others wrap, or become 0x7FFFFFFF where they are shifted by 32 or more.
 *
 * @param[in,out] pSrcDstSpectrum    1024 values in grouped order; in: quantized, 0 to 8191 in
 *                                   magnitude; out: Q3
 * @param[in]     pScaleFactor       scale factors, maxSfb entries per group
 * @param[in]     numWinGrp          window groups, 1 for winLen 1024, 1 to 8 for 128
 * @param[in]     pWinGrpLen         windows of each group, numWinGrp entries, in all 1024 / winLen
 * @param[in]     maxSfb             bands in use per group, 0 to the band count
 * @param[in]     pSfbCb             code books, maxSfb entries per group
 * @param[in]     samplingRateIndex  sampling_frequency_index, 0 to 11
 * @param[in]     winLen             1024 long, 128 short
 * @retval qorStsNullPtrErr         any pointer null
 * @retval qorStsAacWinLenErr       winLen not 128 or 1024
 * @retval qorStsAacWinGrpErr       numWinGrp not 1 for winLen 1024, or outside 1 to 8 for 128
 * @retval qorStsAacMaxSfbErr       maxSfb outside 0 to 51
 * @retval qorStsAacSampRateIdxErr  samplingRateIndex outside 0 to 11
 * @retval qorStsAacMaxSfbErr       maxSfb above the band count
 * @retval qorStsAacQuantMaxErr     during the work: a magnitude above 8191 in a band of
 *                                  coefficients; those before it are converted
 * @source ISO/IEC 13818-7, clause 10.3
 */
QorStatus qorsQuantInv_AAC_32s_I(Qor32s* pSrcDstSpectrum, const Qor16s* pScaleFactor,
                                 Qor32s numWinGrp, const Qor32s* pWinGrpLen, Qor32s maxSfb,
                                 const Qor8u* pSfbCb, Qor32s samplingRateIndex, Qor32s winLen);

/**
 * The power law for an encoder: sign(x) |x|^(4/3) 2^(s/4) in integers (Q0), with s =
 * pScaleFactor[b] - offset - 4 * scaleFactor in band b.
 *
 * Results are truncated. They are accurate for magnitudes up to 16383; above, they are defined but
 * without meaning, as are those that do not fit 32 bits (see qorsQuantInv_AAC_32s_I()).
 *
 * @param[in]  pSrc          quantized values up to the last band's end
 * @param[out] pDst          as many values in Q0; those outside the bands are not touched
 * @param[in]  pScaleFactor  numBands scale factors, in quarters of a power of 2
 * @param[in]  pBandOffset   numBands + 1 rising offsets: band b covers groupLen * pBandOffset[b] to
 *                           groupLen * pBandOffset[b + 1] - 1
 * @param[in]  offset        taken off each scale factor, in its unit
 * @param[in]  numBands      0 or more
 * @param[in]  groupLen      windows in the group, 0 or more
 * @param[in]  scaleFactor   the results are divided by 2 to this power; any value
 * @retval qorStsNullPtrErr  any pointer null
 * @retval qorStsSizeErr     numBands or groupLen negative
 * @source the power law of ISO/IEC 13818-7, clause 10.3
 */
QorStatus qorsPow43Scale_16s32s_Sf(const Qor16s* pSrc, Qor32s* pDst, const Qor16s* pScaleFactor,
                                   const Qor32s* pBandOffset, Qor32s offset, Qor32s numBands,
                                   Qor32s groupLen, Qor32s scaleFactor);

/**
 * Brings the spectrum of a short block from grouped order to window order.
 *
 * @param[in]  pSrc               1024 values in grouped order; must not overlap pDst
 * @param[out] pDst               1024 values in window order, 128 a window. Above the last band
 *                                every window of a group is cleared; windows beyond the groups' are
 *                                not touched
 * @param[in]  numWinGrp          window groups, 1 to 8
 * @param[in]  pWinGrpLen         windows of each group, numWinGrp entries, in all 8
 * @param[in]  maxSfb             bands in use per group, 0 to the count of short bands
 * @param[in]  samplingRateIndex  sampling_frequency_index, 0 to 11
 * @param[in]  winLen             128
 * @retval qorStsNullPtrErr         any pointer null
 * @retval qorStsAacWinLenErr       winLen not 128
 * @retval qorStsAacWinGrpErr       numWinGrp outside 1 to 8
 * @retval qorStsAacMaxSfbErr       maxSfb outside 0 to 51
 * @retval qorStsAacSampRateIdxErr  samplingRateIndex outside 0 to 11
 * @retval qorStsAacMaxSfbErr       maxSfb above the count of short bands
 * @source ISO/IEC 13818-7, clause 8.3.5
 */
QorStatus qorsDeinterleaveSpectrum_AAC_32s(const Qor32s* pSrc, Qor32s* pDst, Qor32s numWinGrp,
                                           const Qor32s* pWinGrpLen, Qor32s maxSfb,
                                           Qor32s samplingRateIndex, Qor32s winLen);

/** @} */

/**
 * @name Stereo
 * @{
 */

/**
 * M/S stereo, in place: left = L + R, right = L - R in the bands that the mask marks
 * (ms_mask_present 1) or in all bands (2), but never in bands of noise or intensity.
 *
 * An intensity band that pMsUsed marks with ms_mask_present 1 has its code book changed from 14 to
 * 15 or from 15 to 14. Only the right channel's code books are looked at. Sums wrap.
 *
 * @param[in,out] pSrcDstL           1024 values, Q3, grouped order; out: left
 * @param[in,out] pSrcDstR           the same; out: right
 * @param[in]     ms_mask_present    1 or 2
 * @param[in]     pMsUsed            one row of 60 bytes per group, a byte per band, not 0: marked;
 *                                   not read for ms_mask_present 2
 * @param[in,out] pSfbCb             code books of the right channel, maxSfb entries per group
 * @param[in]     numWinGrp          window groups, 1 for winLen 1024, 1 to 8 for 128
 * @param[in]     pWinGrpLen         windows of each group, numWinGrp entries, in all 1024 / winLen
 * @param[in]     maxSfb             bands in use per group, 0 to the band count
 * @param[in]     samplingRateIndex  sampling_frequency_index, 0 to 11
 * @param[in]     winLen             1024 long, 128 short
 * @retval qorStsNullPtrErr         any pointer null
 * @retval qorStsAacWinLenErr       winLen not 128 or 1024
 * @retval qorStsAacWinGrpErr       numWinGrp not 1 for winLen 1024, or outside 1 to 8 for 128
 * @retval qorStsAacMaxSfbErr       maxSfb outside 0 to 51
 * @retval qorStsAacSampRateIdxErr  samplingRateIndex outside 0 to 11
 * @retval qorStsAacMsMaskErr       ms_mask_present not 1 or 2
 * @retval qorStsAacMaxSfbErr       maxSfb above the band count
 * @source ISO/IEC 13818-7, clause 12.1
 */
QorStatus qorsDecodeMsStereo_AAC_32s_I(Qor32s* pSrcDstL, Qor32s* pSrcDstR, Qor32s ms_mask_present,
                                       Qor8u (*pMsUsed)[60], Qor8u* pSfbCb, Qor32s numWinGrp,
                                       const Qor32s* pWinGrpLen, Qor32s maxSfb,
                                       Qor32s samplingRateIndex, Qor32s winLen);

/**
 * Intensity stereo: in the bands of code book 15 the right channel becomes the left one times
 * 2^(-position/4), in those of code book 14 its negative.
 *
 * Results are truncated and wrap where they do not fit.
 *
 * @param[in]  pSrcL              left channel, 1024 values, Q3, grouped order
 * @param[out] pDstR              right channel, as pSrcL; other bands are not written
 * @param[in]  pScaleFactor       right channel's scale factors, here the intensity positions: -119
 *                                to 135, beyond which shift counts are taken modulo 32; maxSfb
 *                                entries per group
 * @param[in]  pSfbCb             right channel's code books, behind qorsDecodeMsStereo_AAC_32s_I();
 *                                maxSfb entries per group
 * @param[in]  numWinGrp          window groups, 1 for winLen 1024, 1 to 8 for 128
 * @param[in]  pWinGrpLen         windows of each group, numWinGrp entries, in all 1024 / winLen
 * @param[in]  maxSfb             bands in use per group, 0 to the band count
 * @param[in]  samplingRateIndex  sampling_frequency_index, 0 to 11
 * @param[in]  winLen             1024 long, 128 short
 * @retval qorStsNullPtrErr         any pointer null
 * @retval qorStsAacWinLenErr       winLen not 128 or 1024
 * @retval qorStsAacWinGrpErr       numWinGrp not 1 for winLen 1024, or outside 1 to 8 for 128
 * @retval qorStsAacMaxSfbErr       maxSfb outside 0 to 51
 * @retval qorStsAacSampRateIdxErr  samplingRateIndex outside 0 to 11
 * @retval qorStsAacMaxSfbErr       maxSfb above the band count
 * @source ISO/IEC 13818-7, clause 12.2
 */
QorStatus qorsDecodeIsStereo_AAC_32s(const Qor32s* pSrcL, Qor32s* pDstR, const Qor16s* pScaleFactor,
                                     const Qor8u* pSfbCb, Qor32s numWinGrp,
                                     const Qor32s* pWinGrpLen, Qor32s maxSfb,
                                     Qor32s samplingRateIndex, Qor32s winLen);

/** @} */

/**
 * @name Noise substitution
 * @{
 */
/**
 * Perceptual noise substitution: fills the bands of code book 13 with noise of the energy 2^(s/2)
 * on the scale of the standard, s being the band's scale factor.
 *
 * The walk over windows is that of a long block: behind each window the spectrum pointer moves on
 * by the start of its last band, and pScaleFactor by maxSfb. For short blocks call it window by
 * window, as one group of one window, with that group's row of code books and scale factors and a
 * scratch pLtpFlag. maxSfb 0, and a rate from 12 on, which has no bands, change nothing; bands
 * above the band count do not exist.
 *
 * qorsDecodeMsPNS_AAC_32s() does a channel of a pair: channel 0 stores the seed of each band,
 * channel 1 makes the same noise again in the bands that the mask marks, without a step of
 * `*pRandomSeed`. The bands of channel 0 must hold noise there too.
 *
 * @param[in,out] pSrcDst            spectrum, 1024 values (128 for one short window), Q3, window
 *                                   order
 * @param[in,out] pLtpFlag           ltp_long_used of the channel, or scratch of maxSfb + 1 entries.
 *                                   With numWinGrp 1 the flags of the bands of noise, entry band +
 *                                   1, are cleared; otherwise not touched
 * @param[in]     pSfbCb             code books, maxSfb entries per group
 * @param[in]     pScaleFactor       scale factors, maxSfb entries per window; those of noise from 0
 *                                   to 83: others give noise of some other level
 * @param[in]     maxSfb             bands in use, 0 to 51
 * @param[in]     numWinGrp          window groups, 1 to 8 for any winLen
 * @param[in]     pWinGrpLen         windows of each group, numWinGrp entries
 * @param[in]     samplingRateIndex  sampling_frequency_index, 0 to 11; 12 to 16 have no bands
 * @param[in]     winLen             1024 long, 128 short
 * @param[in,out] pRandomSeed        state of the generator, one step per line made; any start value
 * @param[in]     channel            MsPNS: 0 or 1; any other value makes noise of its own
 * @param[in]     pMsUsed            MsPNS: one row of 60 bytes per group, a byte per band, 1:
 *                                   marked; read for channel 1 only
 * @param[in,out] pNoiseState        MsPNS: maxSfb seeds per group, written by channel 0 in the
 *                                   bands of noise, read by channel 1
 * @retval qorStsNullPtrErr         any pointer null but pMsUsed and pNoiseState, which are not
 *                                  tested
 * @retval qorStsAacMaxSfbErr       maxSfb outside 0 to 51
 * @retval qorStsAacWinGrpErr       numWinGrp outside 1 to 8
 * @retval qorStsAacSampRateIdxErr  samplingRateIndex outside 0 to 16
 * @retval qorStsAacWinLenErr       winLen not 128 or 1024
 * @source ISO/IEC 14496-3, perceptual noise substitution; the generator is this library's own
 */
QorStatus qorsDecodePNS_AAC_32s(Qor32s* pSrcDst, Qor32s* pLtpFlag, const Qor8u* pSfbCb,
                                const Qor16s* pScaleFactor, Qor32s maxSfb, Qor32s numWinGrp,
                                const Qor32s* pWinGrpLen, Qor32s samplingRateIndex, Qor32s winLen,
                                Qor32s* pRandomSeed);
QorStatus qorsDecodeMsPNS_AAC_32s(Qor32s* pSrcDst, Qor32s* pLtpFlag, const Qor8u* pSfbCb,
                                  const Qor16s* pScaleFactor, Qor32s maxSfb, Qor32s numWinGrp,
                                  const Qor32s* pWinGrpLen, Qor32s samplingRateIndex, Qor32s winLen,
                                  Qor32s* pRandomSeed, Qor32s channel, Qor8u (*pMsUsed)[60],
                                  Qor32s* pNoiseState);
/** @} */

/**
 * @name Temporal noise shaping
 * @{
 */
/**
 * Temporal noise shaping, in place: the decoder's all-pole filters, or the encoder's all-zero
 * filters with the same coefficients.
 *
 * Filters reach up to the smaller of maxSfb and the standard's limit for the rate and window. Each
 * starts with a cleared state; results are truncated and wrap. A filter of order 0 takes an entry
 * of pLength and pOrder and does nothing. Without TNS data (tns_data_present 0) do not call: the
 * noiseless decoders then leave the arrays but for the first count as they were.
 *
 * @param[in,out] pSrcDstSpectrum    1024 values, window order, in any scale; Q3 in a decoder
 * @param[in]     pNumFilt           filters of each window, 1 entry for winLen 1024, 8 for 128: 0
 *                                   to 3 long, 0 to 1 short
 * @param[in]     pLength            length of each filter in bands, packed over all windows; from
 *                                   the top band down, 0 to the band count
 * @param[in]     pOrder             order of each filter, packed in the same way: 0 to 12 long, 0
 *                                   to 7 short
 * @param[in]     pCoefRes           3 or 4 for each window; read with a filter of non-zero order
 *                                   only
 * @param[in]     pCoef              coefficients, `order` of them for each filter: -8 to 7
 * @param[in]     pDirection         of each filter of non-zero order: 0 upward, 1 downward
 * @param[in]     maxSfb             bands in use, 0 to the band count
 * @param[in]     profile            encoder: 1; the decoder does not read it
 * @param[in]     samplingRateIndex  sampling_frequency_index, 0 to 11
 * @param[in]     winLen             1024 long, 128 short
 * @retval qorStsNullPtrErr          any pointer null
 * @retval qorStsAacWinLenErr        winLen not 128 or 1024
 * @retval qorStsAacTnsProfileErr    encoder only: profile not 1
 * @retval qorStsAacSampRateIdxErr   samplingRateIndex outside 0 to 11
 * @retval qorStsAacMaxSfbErr        maxSfb outside 0 to 51; maxSfb above the band count
 * @retval qorStsAacTnsNumFiltErr    from here on during the walk, with the filters before already
 *                                   applied: a window's count outside 0 to 3, or 0 to 1 short
 * @retval qorStsAacTnsLengthErr     a length outside 0 to the band count
 * @retval qorStsAacTnsOrderErr      an order outside 0 to 12, or 0 to 7 short
 * @retval qorStsAacTnsCoefResErr    order not 0: coef_res not 3 or 4
 * @retval qorStsAacTnsCoefErr       a coefficient outside -8 to 7
 * @retval qorStsAacTnsDirectionErr  order not 0: direction not 0 or 1
 * @source ISO/IEC 13818-7, clause 14
 */
QorStatus qorsDecodeTNS_AAC_32s_I(Qor32s* pSrcDstSpectrum, const Qor32s* pNumFilt,
                                  const Qor32s* pLength, const Qor32s* pOrder,
                                  const Qor32s* pCoefRes, const Qor8s* pCoef,
                                  const Qor32s* pDirection, Qor32s maxSfb, Qor32s profile,
                                  Qor32s samplingRateIndex, Qor32s winLen);
QorStatus qorsEncodeTNS_AAC_32s_I(Qor32s* pSrcDstSpectrum, const Qor32s* pNumFilt,
                                  const Qor32s* pLength, const Qor32s* pOrder,
                                  const Qor32s* pCoefRes, const Qor8s* pCoef,
                                  const Qor32s* pDirection, Qor32s maxSfb, Qor32s profile,
                                  Qor32s samplingRateIndex, Qor32s winLen);
/** @} */

/**
 * @name Filter bank
 * @{
 */

/**
 * Synthesis to PCM: inverse MDCT, window, overlap-add, rounding of the sums in Q3 to 16 bits with
 * saturation.
 *
 * The transform measures the spectrum and takes bits off it where the FFT would overflow. One so
 * loud that the sum of magnitudes behind its first rotation, which divides by 4, reaches 2^34 (2^31
 * in a short window) comes out twice as loud. Of eight short windows only the first rises with
 * prevWindowShape.
 *
 * @param[in,out] pSrc             1024 coefficients, Q3, window order; destroyed
 * @param[out]    pDst             1024 samples, pcmMode apart, full scale 32768; those between are
 *                                 not touched
 * @param[in,out] pOverlap         1024 values of the channel, Q3; cleared before the first frame
 * @param[in]     windowSequence   0 long, 1 long-start, 2 eight short, 3 long-stop
 * @param[in]     windowShape      falling slope: 0 sine, 1 Kaiser-Bessel derived
 * @param[in]     prevWindowShape  rising slope: windowShape of the frame before
 * @param[in]     pcmMode          1 planar, 2 interleaved
 * @retval qorStsNullPtrErr      any pointer null
 * @retval qorStsAacWinSeqErr    windowSequence outside 0 to 3
 * @retval qorStsAacWinShapeErr  windowShape or prevWindowShape not 0 or 1
 * @retval qorStsAacPcmModeErr   pcmMode not 1 or 2
 * @source ISO/IEC 13818-7, clause 15
 */
QorStatus qorsMDCTInv_AAC_32s16s(Qor32s* pSrc, Qor16s* pDst, Qor32s* pOverlap,
                                 Qor32s windowSequence, Qor32s windowShape, Qor32s prevWindowShape,
                                 Qor32s pcmMode);

/**
 * Synthesis for a 32-bit signal path, in place; the counterpart of qorsMDCTFwd_AAC_32s_I().
 *
 * Forward and inverse with overlap give the input times 2^-7. Nothing guards against overflow: the
 * sum of magnitudes behind the first rotation, which divides by 4, must stay below 2^29. Sums wrap.
 * Of eight short windows only the first rises with prevWindowShape.
 *
 * @param[in,out] pSrcDst          in: 1024 coefficients, window order; out: 1024 samples, not
 *                                 saturated
 * @param[in,out] pOverlap         1024 values of the channel in the scale of the samples; cleared
 *                                 before the first frame
 * @param[in]     windowSequence   0 long, 1 long-start, 2 eight short, 3 long-stop
 * @param[in]     windowShape      falling slope: 0 sine, 1 Kaiser-Bessel derived
 * @param[in]     prevWindowShape  rising slope: windowShape of the frame before
 * @param[in]     len              1024
 * @retval qorStsNullPtrErr      any pointer null
 * @retval qorStsAacWinSeqErr    windowSequence outside 0 to 3
 * @retval qorStsAacWinShapeErr  windowShape or prevWindowShape not 0 or 1
 * @retval qorStsSizeErr         len not 1024
 * @source the transform of ISO/IEC 13818-7, clause 15, in a scale of this library's own
 */
QorStatus qorsMDCTInv_AAC_32s_I(Qor32s* pSrcDst, Qor32s* pOverlap, Qor32s windowSequence,
                                Qor32s windowShape, Qor32s prevWindowShape, Qor32s len);

/**
 * Analysis for a 32-bit signal path, in place: window and forward MDCT, the standard's coefficients
 * divided by 4096, or by 512 in a short window (twice the window's length).
 *
 * For windowSequence 2 a call handles one short window, both slopes as the arguments say. The
 * transform guards itself against overflow as qorsMDCTInv_AAC_32s16s() does, and loses bits there.
 *
 * @param[in,out] pSrcDst          in: 2048 samples in any scale, or the 256 of a short window; out:
 *                                 1024 or 128 coefficients, divided as above; what follows them of
 *                                 the samples has no meaning
 * @param[in]     windowSequence   0 long, 1 long-start, 2 one of eight short, 3 long-stop
 * @param[in]     windowShape      falling slope: 0 sine, 1 Kaiser-Bessel derived
 * @param[in]     prevWindowShape  rising slope: windowShape of the frame before
 * @param[in]     len              2048, also for a short window
 * @retval qorStsNullPtrErr      pSrcDst null
 * @retval qorStsAacWinSeqErr    windowSequence outside 0 to 3
 * @retval qorStsAacWinShapeErr  windowShape or prevWindowShape not 0 or 1
 * @retval qorStsSizeErr         len not 2048
 * @source the transform of ISO/IEC 13818-7, clause 15, in a scale of this library's own
 */
QorStatus qorsMDCTFwd_AAC_32s_I(Qor32s* pSrcDst, Qor32s windowSequence, Qor32s windowShape,
                                Qor32s prevWindowShape, Qor32s len);

/**
 * Window and forward MDCT of the standard, for long-term prediction: a Q3 signal gives a Q3
 * spectrum.
 *
 * For windowSequence 2 a call handles one short window, both slopes as the arguments say. Nothing
 * guards against overflow.
 *
 * @param[in]  pSrc             2048 samples, Q3, or the 256 of a short window
 * @param[out] pDst             1024 coefficients, Q3, or 128
 * @param[in]  pTimeRef         must not be null; not read
 * @param[in]  windowSequence   0 long, 1 long-start, 2 one of eight short, 3 long-stop
 * @param[in]  windowShape      falling slope: 0 sine, 1 Kaiser-Bessel derived
 * @param[in]  prevWindowShape  rising slope: windowShape of the frame before
 * @param[out] pWork            scratch of 2048
 * @retval qorStsNullPtrErr      any pointer null
 * @retval qorStsAacWinSeqErr    windowSequence outside 0 to 3
 * @retval qorStsAacWinShapeErr  windowShape or prevWindowShape not 0 or 1
 * @source ISO/IEC 14496-3, long-term prediction, with the windows of ISO/IEC 13818-7, clause 15
 */
QorStatus qorsMDCTFwd_AAC_32s(const Qor32s* pSrc, Qor32s* pDst, const Qor32s* pTimeRef,
                              Qor32s windowSequence, Qor32s windowShape, Qor32s prevWindowShape,
                              Qor32s* pWork);

/** @} */

/**
 * @name Long-term prediction
 * @{
 */

/**
 * The estimate of a block from the channel's history, times ltp_coef and truncated.
 *
 * It is 2048 samples from history position 2048 - ltp_lag; for windowSequence 2 and each window w
 * with ltp_short_used[w], 256 samples from position 2816 - ltp_short_lag[w]. What lies behind the
 * history's end is 0. qorsMDCTFwd_AAC_32s() makes its spectrum.
 *
 * @param[in]  pHistory        3072 samples, Q3, cleared before the first frame: the frame before
 *                             last, the last reconstructed frame, and the windowed second half of
 *                             the latest inverse transform, not yet overlapped
 * @param[out] pEstimate       2048 samples, Q3; for windowSequence 2 window w from 256 * w on,
 *                             those of other windows are not touched
 * @param[in]  pLtpInfo        ltp_coef in Q14 and ltp_lag, 0 to 2048, or ltp_short_used and
 *                             ltp_short_lag, up to 2816
 * @param[in]  windowSequence  0 long, 1 long-start, 2 eight short, 3 long-stop
 * @retval qorStsNullPtrErr    any pointer null
 * @retval qorStsAacWinSeqErr  windowSequence outside 0 to 3
 * @source ISO/IEC 14496-3, long-term prediction
 */
QorStatus qorsLongTermPredict_AAC_32s(const Qor32s* pHistory, Qor32s* pEstimate,
                                      const QorAACLtpInfo* pLtpInfo, Qor32s windowSequence);

/**
 * Adds the estimate's spectrum to the channel's: in the long bands 0 to 39 whose flag is set, or in
 * the first 8 short bands of the windows whose flag is set.
 *
 * Sums wrap.
 *
 * @param[in]     pEstimateSpectrum  1024 coefficients, Q3, window order
 * @param[in,out] pSrcDstSpectrum    the same, of the channel
 * @param[in]     pLtpUsed           ltp_long_used, 41 entries, entry band + 1; for windowSequence 2
 *                                   ltp_short_used, 8 entries
 * @param[in]     windowSequence     0 long, 1 long-start, 2 eight short, 3 long-stop
 * @param[in]     samplingRateIndex  sampling_frequency_index, 0 to 11; 12 has no bands: nothing is
 *                                   added
 * @retval qorStsNullPtrErr         any pointer null
 * @retval qorStsAacWinSeqErr       windowSequence outside 0 to 3
 * @retval qorStsAacSampRateIdxErr  samplingRateIndex outside 0 to 12
 * @source ISO/IEC 14496-3, long-term prediction
 */
QorStatus qorsLongTermReconstruct_AAC_32s(const Qor32s* pEstimateSpectrum, Qor32s* pSrcDstSpectrum,
                                          const Qor32s* pLtpUsed, Qor32s windowSequence,
                                          Qor32s samplingRateIndex);

/**
 * Moves the history on by a frame and appends the frame of the final spectrum, behind TNS.
 *
 * Additions saturate. In a block of short windows every window rises with prevWindowShape.
 *
 * @param[in]     pSpectrum        1024 coefficients, Q3, window order
 * @param[in,out] pHistory         3072 samples, Q3, as in qorsLongTermPredict_AAC_32s()
 * @param[in]     windowSequence   0 long, 1 long-start, 2 eight short, 3 long-stop
 * @param[in]     windowShape      falling slope: 0 sine, 1 Kaiser-Bessel derived
 * @param[in]     prevWindowShape  rising slope: windowShape of the frame before
 * @param[out]    pWork            scratch of 6144
 * @retval qorStsNullPtrErr      any pointer null
 * @retval qorStsAacWinSeqErr    windowSequence outside 0 to 3
 * @retval qorStsAacWinShapeErr  windowShape or prevWindowShape not 0 or 1
 * @source ISO/IEC 14496-3, long-term prediction
 */
QorStatus qorsLtpUpdate_AAC_32s(const Qor32s* pSpectrum, Qor32s* pHistory, Qor32s windowSequence,
                                Qor32s windowShape, Qor32s prevWindowShape, Qor32s* pWork);

/** @} */

/** @} */

/* ================================================================ AAC prediction ============ */

/**
 * @addtogroup aacpred
 * @{
 */

/*
 * Frequency-domain prediction of the AAC Main profile: for each spectral line a backward-adaptive
 * lattice predictor of second order, in 32-bit floats. The encoder takes each line's estimate off
 * its coefficient; the decoder adds it. Both adapt to the reconstructed spectrum alone, so no
 * coefficients travel. Each operation is rounded on its own, the estimate is rounded and the state
 * cut to 16 bits of each float: as long as both sides see the same spectra they stay in step to the
 * bit, on any machine.
 *
 * A state belongs to one channel. It holds for `len` lines two correlations, two energies and two
 * delayed values, after a reset 0, 1 and 0. An energy below 2, in units of the spectrum given,
 * predicts nothing. A state cannot be moved or copied to another place, and is for one thread at a
 * time.
 */

/**
 * @name State
 * @{
 */

/**
 * Tells the bytes of memory that a state takes: len * 24 + 288.
 *
 * @param[in]  len    lines, 1 to 89478473
 * @param[out] pSize  bytes, the slack for alignment included
 * @retval qorStsNullPtrErr  pSize null
 * @retval qorStsSizeErr     len below 1, or above 89478473, where the size passes 31 bits
 * @source this library's own context life cycle
 */
QorStatus qorsFDPGetSize_32f(Qor32s len, Qor32s* pSize);

/**
 * Builds a state in the caller's memory, reset. It needs no Free.
 *
 * @param[out] ppState  the state's place, the first multiple of 32 bytes in pMem; the
 *                      functions also take pMem itself
 * @param[in]  len      lines, 1 to 89478473
 * @param[out] pMem     memory of the size that qorsFDPGetSize_32f() tells, at any address; the
 *                      caller's, to be kept as long as the state
 * @retval qorStsNullPtrErr  any pointer null
 * @retval qorStsSizeErr     len outside 1 to 89478473
 * @source this library's own context life cycle
 */
QorStatus qorsFDPInit_32f(QorsFDPState_32f** ppState, Qor32s len, Qor8u* pMem);

/**
 * Builds a state in memory of its own, reset, to be ended with qorsFDPFree_32f().
 *
 * @param[out] ppState  the state; not written on failure
 * @param[in]  len      lines, 1 to 89478473
 * @retval qorStsNullPtrErr   ppState null
 * @retval qorStsSizeErr      len outside 1 to 89478473
 * @retval qorStsMemAllocErr  the allocation failed
 * @source this library's own context life cycle
 */
QorStatus qorsFDPInitAlloc_32f(QorsFDPState_32f** ppState, Qor32s len);

/**
 * Ends a state: no function accepts it any more. What InitAlloc allocated is released.
 *
 * @param[in,out] pState  the state
 * @retval qorStsNullPtrErr       pState null
 * @retval qorStsContextMatchErr  pState is not a state
 * @source this library's own context life cycle
 */
QorStatus qorsFDPFree_32f(QorsFDPState_32f* pState);

/** @} */

/**
 * @name Resets
 * @{
 */

/**
 * Resets all lines, as a block of short windows asks.
 *
 * @param[in,out] pState  the state
 * @retval qorStsNullPtrErr       pState null
 * @retval qorStsContextMatchErr  pState is not a state
 * @source ISO/IEC 13818-7, clause "Prediction"
 */
QorStatus qorsFDPReset_32f(QorsFDPState_32f* pState);

/**
 * Resets the lines startLine, startLine + resetGroupStep and so on below the state's count, which
 * may be none.
 *
 * predictor_reset asks for a step of 30 from predictor_reset_group_number - 1.
 *
 * @param[in]     resetGroupStep  lines from one to the next, 1 or more
 * @param[in]     startLine       first line, 0 or more
 * @param[in,out] pState          the state
 * @retval qorStsNullPtrErr       pState null
 * @retval qorStsSizeErr          startLine below 0
 * @retval qorStsStepErr          resetGroupStep below 1
 * @retval qorStsContextMatchErr  pState is not a state
 * @source ISO/IEC 13818-7, clause "Prediction"
 */
QorStatus qorsFDPResetGroup_32f(Qor32s resetGroupStep, Qor32s startLine, QorsFDPState_32f* pState);

/**
 * Resets the lines of bands.
 *
 * @param[in]     pBandOffset  numBands + 1 rising offsets from 0 to the state's count of lines:
 *                             band b covers pBandOffset[b] to pBandOffset[b + 1] - 1; not tested
 * @param[in]     numBands     1 or more
 * @param[in]     pResetFlag   numBands bytes, not 0: reset the band
 * @param[in,out] pState       the state
 * @retval qorStsNullPtrErr       any pointer null
 * @retval qorStsSizeErr          numBands below 1
 * @retval qorStsContextMatchErr  pState is not a state
 * @source ISO/IEC 13818-7, clause "Prediction"
 */
QorStatus qorsFDPResetSfb_32f(const Qor32s* pBandOffset, Qor32s numBands, const Qor8u* pResetFlag,
                              QorsFDPState_32f* pState);

/** @} */

/**
 * @name Prediction
 * @{
 */

/**
 * Encoder side: takes the estimates off the lines, pDst[i] = pSrc[i] - estimate, and adapts to
 * pSrc.
 *
 * @param[in]     pSrc    spectrum, as many lines as the state has, on the scale of the standard
 * @param[out]    pDst    as many residuals; the same as pSrc or without overlap
 * @param[in,out] pState  the state
 * @retval qorStsNullPtrErr       any pointer null
 * @retval qorStsContextMatchErr  pState is not a state
 * @retval qorStsAlignmentWarn    success; pSrc or pDst not on a 16-byte boundary
 * @source ISO/IEC 13818-7, clause "Prediction"
 */
QorStatus qorsFDPFwd_32f(const Qor32f* pSrc, Qor32f* pDst, QorsFDPState_32f* pState);

/**
 * Decoder side, in place: adds the estimates to the lines of the bands that use prediction.
 *
 * The lines of other bands keep their value. All lines of the bands adapt to what then stands
 * there; lines outside the bands are left alone, and so are their predictors.
 *
 * @param[in,out] pSrcDst          lines from 0 to the last band's end, on the scale of the
 *                                 standard; in: residuals; out: spectrum
 * @param[in]     pBandOffset      numBands + 1 rising offsets from 0 to the state's count of lines:
 *                                 band b covers pBandOffset[b] to pBandOffset[b + 1] - 1; not
 *                                 tested
 * @param[in]     numBands         1 or more
 * @param[in]     pPredictionUsed  numBands bytes, not 0: the band uses prediction
 * @param[in,out] pState           the state
 * @retval qorStsNullPtrErr       any pointer null
 * @retval qorStsSizeErr          numBands below 1
 * @retval qorStsContextMatchErr  pState is not a state
 * @retval qorStsAlignmentWarn    success; pSrcDst not on a 16-byte boundary
 * @source ISO/IEC 13818-7, clause "Prediction"
 */
QorStatus qorsFDPInv_32f_I(Qor32f* pSrcDst, const Qor32s* pBandOffset, Qor32s numBands,
                           const Qor8u* pPredictionUsed, QorsFDPState_32f* pState);

/** @} */

/** @} */

/* ================================================================ MP3 encoding ============== */

/**
 * @addtogroup mp3enc
 * @{
 */

/*
 * The steps of a Layer III encoder at constant bit rate. `granules` is 2 for id 1 and 1 for id 0,
 * `channels` 1 for mode 3 and 2 otherwise. Records, lines and scale factors of a granule and
 * channel stand at index granule * channels + channel. Lines of short blocks are ordered band,
 * window, line in the window; their scale factors and ratios have index band * 3 + window.
 *
 * Order: qorsBitReservoirInit_MP3() once; for each frame qorsPsychoacousticModelTwo_MP3_16s(), per
 * granule and channel qorsAnalysisPQMF_MP3_16s32s() 18 times and qorsMDCTFwd_MP3_32s(), per granule
 * qorsJointStereoEncode_MP3_32s_I(), once qorsQuantize_MP3_32s_I(), per granule and channel
 * qorsPackScaleFactors_MP3_8s1u() and qorsHuffmanEncode_MP3_32s1u(), then
 * qorsPackFrameHeader_MP3() and qorsPackSideInfo_MP3(). The caller assembles the frame: it computes
 * main_data_begin, moves main data behind the side information of earlier frames and sets CRCWord.
 */

/* --- analysis, psychoacoustics --- */

/**
 * Takes 512 samples of one channel through the polyphase analysis to one sample of each of 32
 * sub-bands.
 *
 * A granule is 18 calls, pSrc moving on by 32 * nChannels, pDst by 32. The sub-band samples are
 * within 1 of the standard's sum over the window in Q30.
 *
 * @param[in]  pSrc       the last 512 samples of the channel, 16-bit PCM, oldest first, nChannels
 *                        apart (a pointer into interleaved PCM)
 * @param[out] pDst       32 sub-band samples, lowest sub-band first, with 9 fraction bits: a sine
 *                        of full scale gives about 2^24
 * @param[in]  nChannels  distance of the samples, 1 or 2
 * @retval qorStsNullPtrErr  pSrc or pDst null
 * @retval qorStsBadArgErr   nChannels not 1 or 2
 * @source ISO 11172-3, Annex C.1.3 and Table C.1
 */
QorStatus qorsAnalysisPQMF_MP3_16s32s(const Qor16s* pSrc, Qor32s* pDst, int nChannels);

/**
 * Turns the sub-band samples of one granule and channel into 576 lines: MDCT with block switching,
 * frequency inversion, alias reduction.
 *
 * For blockType 2 the lines of the two low sub-bands of a mixed block pass the reordering like the
 * others, and the boundary between them is alias-reduced after it. The short transform is not the
 * standard's: it takes the last four samples of its third window from two slots later, and
 * three of its terms differ from an MDCT's, so that a decoder's inverse does not undo it.
 *
 * @param[in]     pSrc          18 slots of 32 sub-band samples, index slot * 32 + sub-band, as
 *                              qorsAnalysisPQMF_MP3_16s32s() gives them
 * @param[out]    pDst          576 lines, Q26 of the standard's xr (with sub-bands of 9 fraction
 *                              bits): index sub-band * 18 + line; for blockType 2 band, window,
 *                              line in the window. Must not overlap pSrc or pOverlap
 * @param[in]     blockType     0 long, 1 start, 2 short, 3 stop; not checked
 * @param[in]     mixedBlock    not 0: sub-bands 0 and 1 have the long window of type 0, whatever
 *                              blockType is
 * @param[in]     pFrameHeader  id (0 or 1) and sampling_frequency (0 to 2), not checked, choose the
 *                              bands of short blocks
 * @param[in,out] pOverlap      576 sub-band samples of the channel's granule before, ordered as
 *                              pSrc; cleared by the caller before the first granule, replaced by
 *                              pSrc
 * @retval qorStsNullPtrErr  any pointer null
 * @source ISO 11172-3, Annex C.1.5.3.3 and Table B.9; short blocks as above
 */
QorStatus qorsMDCTFwd_MP3_32s(const Qor32s* pSrc, Qor32s* pDst, int blockType, int mixedBlock,
                              const QorMP3FrameHeader* pFrameHeader, Qor32s* pOverlap);

/**
 * Analyses one frame of PCM: masking ratios, perceptual entropy, block types, mid/side and
 * intensity stereo.
 *
 * The model runs one granule ahead of the filter bank, since the shape of a window depends on the
 * block behind it. So the ratios that belong to granule 0 of the frame are in pState before the
 * call, and those of granule 1 stand in granule 0's records after it; the caller moves them.
 *
 * A ratio is at most 0x7FFFFFFF, which also stands for a band without energy. Where a threshold is
 * 2^32 times the energy of its band and more (mid or side next to a much louder one) the quotient
 * loses its upper bits, and the ratio carries no meaning.
 *
 * @param[in]     pSrcPcm         interleaved 16-bit PCM, one granule ahead of the filter bank.
 *                                Granule g is analysed on the samples g * 576 to g * 576 + 1023 of
 *                                each channel: 1600 (two granules) or 1024 samples per channel
 * @param[out]    pDstPsyInfo     granules * channels records. pe is that of the granule before the
 *                                one analysed. ratio, Q31, of granule 0 ends as that of the first
 *                                granule analysed here, long or short by the block_type of granule
 *                                1, whose own ratio is not written. With one granule, granule 0
 *                                gets the ratios from pState
 * @param[out]    pDstIsSfbBound  6 bands, index granule * 3 + window (with one granule the first
 *                                3): the intensity bound of a long block in window 0, of a short
 *                                block in all three. Written with two channels and bitrate_index
 *                                below 9; defined for bitrate_index 6 to 8, lower ones get the
 *                                bound of 6
 * @param[out]    pDstSideInfo    granules * channels records; block_type, window_switching_flag and
 *                                mixed_block_flag (0) are written. The channels switch together
 * @param[in,out] pFrameHeader    id, bitrate_index, sampling_frequency (0 to 2, not checked: 44100,
 *                                48000, 32000 Hz whatever id is) and mode are read. mode_extension
 *                                is written: bit 1 mid/side (mode 1 only), bit 0 intensity (two
 *                                channels and bitrate_index below 9, in every mode)
 * @param[in,out] pState          4 records (left, right, mid, side), cleared by the caller before
 *                                the first frame and kept from frame to frame
 * @param[in]     reserved        neither read nor checked
 * @param[out]    pWork           scratch of 25152 bytes, aligned to 4 bytes
 * @retval qorStsNullPtrErr  any pointer but reserved null
 * @source after model 2 of ISO 11172-3, Annex D; the stereo and block decisions are this library's
 */
QorStatus qorsPsychoacousticModelTwo_MP3_16s(const Qor16s* pSrcPcm, QorMP3PsychoInfo* pDstPsyInfo,
                                             Qor32s* pDstIsSfbBound, QorMP3SideInfo* pDstSideInfo,
                                             QorMP3FrameHeader* pFrameHeader,
                                             QorMP3PsychoState* pState, const void* reserved,
                                             Qor8u* pWork);

/* --- quantization, stereo, packing --- */

/**
 * Codes the two channels of one granule jointly, in place: mid/side below the intensity bound,
 * intensity positions from it on.
 *
 * mid = (L + R) / sqrt(2) goes to the left, side = (L - R) / sqrt(2) to the right, with wrap at 32
 * bits. From the bound on the left line becomes |L| + |R| with the sign of the larger one, the
 * right line 0, and each band gets a position from 0 (all right) to 6 (all left). Both codings are
 * off unless mode is 1.
 *
 * @param[in,out] pSrcDstLeft           576 lines of the left channel, integers of any scale
 * @param[in,out] pSrcDstRight          576 lines of the right channel in the same scale
 * @param[out]    pDstScaleFactorRight  40 scale factors of the right channel: the position of band
 *                                      b goes to b (long), of window w to 3 * b + w (short); others
 *                                      are kept
 * @param[in]     pFrameHeader          id (0 or 1), sampling_frequency (0 to 2), not checked; mode;
 *                                      mode_extension, bit 1 mid/side, bit 0 intensity
 * @param[in]     pSideInfo             2 records of this granule, left and right; block_type is
 *                                      read
 * @param[in,out] pSrcDstIsSfbBound     first intensity band, 0 to 22 in entry 0 (long) or 0 to 13
 *                                      in the entry of each of 3 windows (short), not checked. With
 *                                      intensity off it is set to 22 or 13, in every mode
 * @retval qorStsNullPtrErr      any pointer null
 * @retval qorStsMp3SideInfoErr  mode 1 with mid/side or intensity: block_type differs between the
 *                               channels
 * @source ISO 11172-3, clauses 2.4.3.4.9 and C.1.5.5
 */
QorStatus qorsJointStereoEncode_MP3_32s_I(Qor32s* pSrcDstLeft, Qor32s* pSrcDstRight,
                                          Qor8u* pDstScaleFactorRight,
                                          const QorMP3FrameHeader* pFrameHeader,
                                          const QorMP3SideInfo* pSideInfo,
                                          Qor32s* pSrcDstIsSfbBound);

/**
 * Quantizes one frame, all granules and channels in one call, and keeps the reservoir.
 *
 * Scale factors are set once, from the threshold ratio and the peak of each band; a search over the
 * global gain then fits each granule into its share of the bits. No line above 8191 in magnitude
 * results, and bands from 21 (long) or 12 (short) up are not coded. A record without lines or bits
 * gets lines of 0, part2_3_length 0 and global_gain 210.
 *
 * What the caller watches:
 *  - part2_3_length may pass 4095 by the bits of the scale factors.
 *  - global_gain may leave 0 to 255 on extreme lines or budgets.
 *  - When nine successive steps of the gain leave the count as it is, above the budget, pDstHufBits
 *    holds the budget and is less than the spectrum takes: compare it with what was written.
 *  - For a short block with a gain spread that no scalefac_compress holds, the values of the upper
 *    bands pass 7 and the field stays 0: such a record cannot be sent.
 *  - For id 0 scalefac_compress stays 0, and part2_3_length has no bits of scale factors.
 *
 * @param[in,out] pSrcDstXs         576 lines per record. In: Q26 (a line divided by 2^26 is the
 *                                  standard's xr), below 2^28 in magnitude. Out: the quantized
 *                                  values with their signs
 * @param[in,out] pDstScaleFactor   40 values per record. The coded bands are written (none for a
 *                                  silent record), the others keep their values and are read: 0, or
 *                                  intensity positions
 * @param[in]     pSrcScfsi         4 flags per channel, index channel * 4 + group; in use for
 *                                  granule 1
 * @param[out]    pDstCount1Len     a value per record: lines of the count1 region, a multiple of 4
 * @param[out]    pDstHufBits       a value per record: bits of the spectrum, stuffing included
 * @param[in]     pFrameHeader      id, sampling_frequency, mode and mode_extension are read
 * @param[in,out] pSrcDstSideInfo   granules * channels records. In: block_type (0 to 3),
 *                                  window_switching_flag, mixed_block_flag. All other fields are
 *                                  set; preflag, subblock_gain and table_select of unused regions
 *                                  are 0
 * @param[in,out] pSrcDstPsyInfo    granules * channels records: ratio, Q31, and pe. The ratios get
 *                                  a floor of 0.0001, and 0 becomes the largest value
 * @param[in]     pSrcPsyState      a record per channel; only blockType is read, the block types
 *                                  that come next
 * @param[in,out] pSrcDstReservoir  bitsAvail grows by meanBits less what the frame took, is cut to
 *                                  maxBits and to a whole byte; what is cut off is added to
 *                                  part2_3_length and pDstHufBits as far as records hold it, for
 *                                  qorsHuffmanEncode_MP3_32s1u() to write
 * @param[in]     meanBits          bits of main data that one frame brings in
 * @param[in]     pSrcIsSfbBound    6 intensity bounds, index granule * 3 + window, as
 *                                  qorsJointStereoEncode_MP3_32s_I() has them; in use for the right
 *                                  channel with intensity
 * @param[out]    pWork             scratch of 1152 values
 * @retval qorStsNullPtrErr         any pointer null
 * @retval qorStsMp3FrameHeaderErr  sampling_frequency outside 0 to 2; id not 0 or 1
 * @retval qorStsMp3SideInfoErr     late: a record with window_switching_flag and mixed_block_flag.
 *                                  The records before it are done, the reservoir is as it was
 * @source ISO 11172-3, Annex C.1.5.4, with the search above in place of its two loops
 */
QorStatus qorsQuantize_MP3_32s_I(Qor32s* pSrcDstXs, Qor8s* pDstScaleFactor, Qor32s* pSrcScfsi,
                                 Qor32s* pDstCount1Len, Qor32s* pDstHufBits,
                                 const QorMP3FrameHeader* pFrameHeader,
                                 QorMP3SideInfo* pSrcDstSideInfo, QorMP3PsychoInfo* pSrcDstPsyInfo,
                                 const QorMP3PsychoState* pSrcPsyState,
                                 QorMP3BitReservoir* pSrcDstReservoir, Qor32s meanBits,
                                 Qor32s* pSrcIsSfbBound, Qor32s* pWork);

/**
 * Empties the reservoir and sets its limit.
 *
 * The limit is what the standard's decoder buffer of 7680 bits leaves beside a frame of this bit
 * rate without padding, at least 0, and at most the reach of main_data_begin, 4088 bits.
 *
 * @param[out] pReservoir    bitsAvail becomes 0, maxBits the limit
 * @param[in]  pFrameHeader  id; bitrate_index (0 to 14; 0 counts as frames without bits) and
 *                           sampling_frequency (0 to 2), not checked
 * @retval qorStsNullPtrErr         pReservoir or pFrameHeader null
 * @retval qorStsMp3FrameHeaderErr  id not 1
 * @source ISO 11172-3, clause 2.4.2.7 (main_data_begin) and Annex C.1.5.4.2.2
 */
QorStatus qorsBitReservoirInit_MP3(QorMP3BitReservoir* pReservoir,
                                   const QorMP3FrameHeader* pFrameHeader);

/**
 * Writes a frame header, and the CRC word when protection_bit is 0.
 *
 * Every field is cut to its width and none is tested; the CRC word is the caller's.
 *
 * @param[in]     pSrcFrameHeader  all fields are read, CRCWord only with protection_bit 0
 * @param[in,out] ppBitStream      where to write, from bit 0 on; moves on by 4 or, with the CRC
 *                                 word, 6 bytes
 * @retval qorStsNullPtrErr  pSrcFrameHeader, ppBitStream or *ppBitStream null
 * @source ISO 11172-3, clause 2.4.1.3
 */
QorStatus qorsPackFrameHeader_MP3(const QorMP3FrameHeader* pSrcFrameHeader, Qor8u** ppBitStream);

/**
 * Writes the side information of a frame.
 *
 * Fields are cut to their widths. A record with window_switching_flag and block_type 0 ends the
 * writing behind its block_type: the status is qorStsNoErr and *ppBitStream stands on the byte of
 * the next bit.
 *
 * @param[in]     pSrcSideInfo   granules * channels records
 * @param[in,out] ppBitStream    where to write, from bit 0 on; moves on by 17 (one channel) or 32
 *                               bytes for id 1, 9 or 17 for id 0
 * @param[in]     mainDataBegin  bytes by which the main data start before the frame's header: 9
 *                               bits (id 1) or 8 (id 0)
 * @param[in]     privateBits    one channel 5 bits, two channels 3 (id 1); 1 or 2 bits (id 0)
 * @param[in]     pSrcScfsi      4 flags per channel, index channel * 4 + group; written for id 1
 *                               only
 * @param[in]     pFrameHeader   id, layer and mode are read
 * @retval qorStsNullPtrErr         any pointer or *ppBitStream null
 * @retval qorStsMp3FrameHeaderErr  id not 0 or 1; layer not 1; mode outside 0 to 3
 * @source ISO 11172-3, clause 2.4.1.7; ISO 13818-3, clause 2.4.1.7
 */
QorStatus qorsPackSideInfo_MP3(const QorMP3SideInfo* pSrcSideInfo, Qor8u** ppBitStream,
                               int mainDataBegin, int privateBits, const Qor32s* pSrcScfsi,
                               const QorMP3FrameHeader* pFrameHeader);

/**
 * Writes the scale factors of one granule and channel in stream order, each cut to the width that
 * scalefac_compress gives its band.
 *
 * Groups of bands of a long block that a second granule shares by scfsi are left out (id 1).
 *
 * @param[in]     pSrcScaleFactor  long: 21 values; short: 36 values, band * 3 + window; mixed: the
 *                                 long bands, 8 (id 1) or 6, then band and window in order, 27
 *                                 values
 * @param[in,out] ppBitStream      pointer to the current byte, moves on
 * @param[in,out] pOffset          bits of that byte in use, 0 to 7, not checked; moves on
 * @param[in]     pFrameHeader     id and, for id other than 1, mode_extension are read
 * @param[in,out] pSideInfo        this granule's and channel's record: block_type,
 *                                 mixed_block_flag, scalefac_compress. For id other than 1 preflag
 *                                 is written: 1 for scalefac_compress from 500 on outside the right
 *                                 channel of an intensity pair, else 0
 * @param[in]     pScfsi           4 flags of this channel; read for id 1 in granule 1
 * @param[in]     granule          0 or 1
 * @param[in]     channel          0 or 1; 1 with bit 0 of mode_extension is the right channel of an
 *                                 intensity pair (id other than 1)
 * @retval qorStsNullPtrErr         any pointer or *ppBitStream null
 * @retval qorStsMp3SideInfoErr     scalefac_compress outside 0 to 15 for id 1, 0 to 511 otherwise
 * @retval qorStsMp3FrameHeaderErr  id not 1: mode_extension outside 0 to 3
 * @source ISO 11172-3, clauses 2.4.1.7 and 2.4.2.7; ISO 13818-3, clause 2.4.3.2
 */
QorStatus qorsPackScaleFactors_MP3_8s1u(const Qor8s* pSrcScaleFactor, Qor8u** ppBitStream,
                                        Qor32s* pOffset, const QorMP3FrameHeader* pFrameHeader,
                                        QorMP3SideInfo* pSideInfo, const Qor32s* pScfsi,
                                        int granule, int channel);

/**
 * Writes the spectrum of one granule and channel of MPEG-1: the big-values regions, the quadruples
 * of the count1 region, then ones until hufBits bits stand in all.
 *
 * A hufBits below what the spectrum takes writes no stuffing and is no error.
 *
 * @param[in]     pSrcIx        576 quantized values. In a region they fit its table, escapes its
 *                              linbits; in the count1 region they are 0 or 1 in magnitude
 * @param[in,out] ppBitStream   pointer to the current byte, moves on
 * @param[in,out] pOffset       bits of that byte in use, 0 to 7; moves on
 * @param[in]     pFrameHeader  id, layer and sampling_frequency are read
 * @param[in]     pSideInfo     big_values, region0_count and region1_count, none of them negative;
 *                              table_select, at most 31: table 0 writes nothing, 4 and 14 have no
 *                              codes and stand for empty regions only; count1table_select,
 *                              window_switching_flag, block_type
 * @param[in]     count1Len     lines of the count1 region, a multiple of 4, at most 576 less
 *                              2 * big_values; not checked
 * @param[in]     hufBits       bits that the spectrum and its stuffing take
 * @retval qorStsNullPtrErr         any pointer or *ppBitStream null
 * @retval qorStsBadArgErr          *pOffset outside 0 to 7
 * @retval qorStsMp3SideInfoErr     big_values above 288; region0_count + region1_count above 20;
 *                                  count1table_select not 0 or 1
 * @retval qorStsMp3FrameHeaderErr  id not 1; layer not 1; sampling_frequency outside 0 to 2
 * @retval qorStsMp3SideInfoErr     late: a negative table_select, where its region begins, with the
 *                                  regions before it in the stream
 * @source ISO 11172-3, clause 2.4.1.7 and Table B.7
 */
QorStatus qorsHuffmanEncode_MP3_32s1u(const Qor32s* pSrcIx, Qor8u** ppBitStream, Qor32s* pOffset,
                                      const QorMP3FrameHeader* pFrameHeader,
                                      const QorMP3SideInfo* pSideInfo, int count1Len, int hufBits);

/** @} */

/* ================================================================ SBR integer filter banks == */

/**
 * @addtogroup sbrbank
 * @{
 */
/*
 * QMF banks of spectral band replication in 32-bit integers, with complex sub-bands (SBRHQ, high
 * quality) or real ones (SBRLP, low power). A call takes one time slot through a bank.
 *
 * Any Q format will do, since a bank only applies a gain. Each product keeps its high 32 bits and
 * rounds down; sums wrap and nothing is saturated: samples up to 2^27 and sub-bands up to 2^25
 * (each part) in magnitude never wrap. Below, c is the window of the standard.
 *
 * A context holds the ring of the last ten slots: one channel, one thread at a time. Functions take
 * the pointer to the block that holds it, at any address, or the next multiple of 16 bytes.
 */

/**
 * @name Size of a context
 * @{
 */
/**
 * Tells the bytes of the block for a context, with room for its alignment: 1343 (analysis), 5183
 * (synthesis) or 2623 (downsampled synthesis).
 *
 * @param[out] pSize  bytes
 * @retval qorStsNullPtrErr  pSize null
 * @source this library's own context life cycle
 */
QorStatus qorsAnalysisFilterGetSize_SBRHQ_32s32sc(Qor32s* pSize);
QorStatus qorsAnalysisFilterGetSize_SBRLP_32s(Qor32s* pSize);
QorStatus qorsSynthesisFilterGetSize_SBRHQ_32sc32s(Qor32s* pSize);
QorStatus qorsSynthesisFilterGetSize_SBRLP_32s(Qor32s* pSize);
QorStatus qorsSynthesisDownFilterGetSize_SBRHQ_32sc32s(Qor32s* pSize);
QorStatus qorsSynthesisDownFilterGetSize_SBRLP_32s(Qor32s* pSize);
/** @} */

/**
 * @name Building a context in the caller's memory
 * @{
 */
/**
 * Builds a context with silence in its ring. The block cannot be moved or copied afterwards. On a
 * context in use it clears the history; one that InitAlloc made then no longer owns its block, and
 * Free releases nothing.
 *
 * @param[out] pSpec  the block, as many bytes as GetSize tells, at any address
 * @retval qorStsNullPtrErr  pSpec null
 * @source this library's own context life cycle
 */
QorStatus qorsAnalysisFilterInit_SBRHQ_32s32sc(QorsFilterSpec_SBR_32s* pSpec);
QorStatus qorsAnalysisFilterInit_SBRLP_32s(QorsFilterSpec_SBR_32s* pSpec);
QorStatus qorsSynthesisFilterInit_SBRHQ_32sc32s(QorsFilterSpec_SBR_32s* pSpec);
QorStatus qorsSynthesisFilterInit_SBRLP_32s(QorsFilterSpec_SBR_32s* pSpec);
QorStatus qorsSynthesisDownFilterInit_SBRHQ_32sc32s(QorsFilterSpec_SBR_32s* pSpec);
QorStatus qorsSynthesisDownFilterInit_SBRLP_32s(QorsFilterSpec_SBR_32s* pSpec);
/** @} */

/**
 * @name Allocating a context
 * @{
 */
/**
 * Allocates a block and builds a context in it as Init does. The allocation must succeed: it is not
 * tested, and there is no qorStsMemAllocErr.
 *
 * @param[out] ppSpec  gets the pointer to the block, for Free to release
 * @retval qorStsNullPtrErr  ppSpec null
 * @source this library's own context life cycle
 */
QorStatus qorsAnalysisFilterInitAlloc_SBRHQ_32s32sc(QorsFilterSpec_SBR_32s** ppSpec);
QorStatus qorsAnalysisFilterInitAlloc_SBRLP_32s(QorsFilterSpec_SBR_32s** ppSpec);
QorStatus qorsSynthesisFilterInitAlloc_SBRHQ_32sc32s(QorsFilterSpec_SBR_32s** ppSpec);
QorStatus qorsSynthesisFilterInitAlloc_SBRLP_32s(QorsFilterSpec_SBR_32s** ppSpec);
QorStatus qorsSynthesisDownFilterInitAlloc_SBRHQ_32sc32s(QorsFilterSpec_SBR_32s** ppSpec);
QorStatus qorsSynthesisDownFilterInitAlloc_SBRLP_32s(QorsFilterSpec_SBR_32s** ppSpec);
/** @} */

/**
 * @name Releasing a context
 * @{
 */
/**
 * Releases the block of a context that InitAlloc made. A context that Init made stays valid, and
 * can be freed again.
 *
 * @param[in,out] pSpec  a context of the same bank
 * @retval qorStsNullPtrErr       pSpec null
 * @retval qorStsContextMatchErr  pSpec is not a context of this bank
 * @source this library's own context life cycle
 */
QorStatus qorsAnalysisFilterFree_SBRHQ_32s32sc(QorsFilterSpec_SBR_32s* pSpec);
QorStatus qorsAnalysisFilterFree_SBRLP_32s(QorsFilterSpec_SBR_32s* pSpec);
QorStatus qorsSynthesisFilterFree_SBRHQ_32sc32s(QorsFilterSpec_SBR_32s* pSpec);
QorStatus qorsSynthesisFilterFree_SBRLP_32s(QorsFilterSpec_SBR_32s* pSpec);
QorStatus qorsSynthesisDownFilterFree_SBRHQ_32sc32s(QorsFilterSpec_SBR_32s* pSpec);
QorStatus qorsSynthesisDownFilterFree_SBRLP_32s(QorsFilterSpec_SBR_32s* pSpec);
/** @} */

/**
 * @name Analysis of one slot
 * @{
 */
/**
 * Splits 32 samples into 32 sub-bands. With x(0) the newest sample of the slot, x(1) the one before
 * it and so on, and k from 0 to 31,
 *
 * @code{.unparsed}
 * u(n)         = sum over r from 0 to 4 of c(2(n + 64 r)) x(n + 64 r),   n from 0 to 63
 * SBRHQ  X(k)  = 1/64 sum over n of u(n) exp(j pi/64 (k + 1/2)(2n - 1/2))
 * SBRLP  X(k)  = 1/64 sum over n of u(n) cos(pi/64 (k + 1/2)(2n - 96))
 * @endcode
 *
 * which is 1/128 of what the standard's banks give.
 *
 * @param[in]     pSrc   32 samples in any Q format, oldest first; up to 2^27 in magnitude they
 *                       never wrap
 * @param[out]    pDst   32 sub-bands in the Q format of the samples: those from 0 to kx - 1, zeros
 *                       from kx on
 * @param[in]     kx     sub-bands to keep, 0 to 32; the ring takes the samples whatever it is
 * @param[in,out] pSpec  context of this bank
 * @retval qorStsNullPtrErr       pSrc, pDst or pSpec null
 * @retval qorStsContextMatchErr  pSpec is not a context of this bank
 * @retval qorStsSizeErr          kx outside 0 to 32
 * @source ISO/IEC 14496-3, clause 4.6.18.4.1; SBRLP: its form for the low-power mode
 */
QorStatus qorsAnalysisFilter_SBRHQ_32s32sc(const Qor32s* pSrc, Qor32sc* pDst, Qor32s kx,
                                           QorsFilterSpec_SBR_32s* pSpec);
QorStatus qorsAnalysisFilter_SBRLP_32s(const Qor32s* pSrc, Qor32s* pDst, Qor32s kx,
                                       QorsFilterSpec_SBR_32s* pSpec);
/** @} */

/**
 * @name Synthesis of one slot
 * @{
 */
/**
 * Makes N samples of N sub-bands: 64, or 32 at half the rate in the downsampled banks (Down). With
 * k from 0 to N - 1 and n from 0 to 2N - 1, a slot has the values
 *
 * @code{.unparsed}
 * SBRHQ        V(n) = 1/64 Re sum over k of X(k) exp(j pi/128 (k + 1/2)(2n - 255))
 * SBRHQ, Down  V(n) = 1/64 Re sum over k of X(k) exp(j pi/64 (k + 1/2)(2n - 127.5))
 * SBRLP        V(n) = 1/64 sum over k of X(k) cos(pi/128 (k + 1/2)(2n - 64))
 * SBRLP, Down  V(n) = 1/64 sum over k of X(k) cos(pi/64 (k + 1/2)(2n - 32))
 * @endcode
 *
 * and with V_t those of t slots ago and w(i) = c(i), or c(2i) when downsampled, the samples are
 *
 * @code{.unparsed}
 * y(i) = sum over t from 0 to 9 of w(N t + i) V_t(N (t mod 2) + i),   i from 0 to N - 1
 * @endcode
 *
 * SBRHQ has the gain of the standard's banks, SBRLP half of it.
 *
 * A downsampled filter also takes a context of the SynthesisFilter of its form, in whose ring it
 * uses slots of its own size: what the other filter left there is no history for it.
 *
 * @param[in]     pSrc   64 sub-bands in any Q format (Down: the lowest 32); up to 2^25 in
 *                       magnitude, each part, they never wrap
 * @param[out]    pDst   64 samples (Down: 32) in the Q format of the sub-bands, oldest first
 * @param[in,out] pSpec  context of this bank (Down: or of the bank of 64 of the same form)
 * @retval qorStsNullPtrErr       pSrc, pDst or pSpec null
 * @retval qorStsContextMatchErr  pSpec is not a context of this bank (Down: nor of the bank of 64)
 * @source ISO/IEC 14496-3, clause 4.6.18.4.2 (Down: 4.6.18.4.3); SBRLP: its form for the low-power
 *         mode
 */
QorStatus qorsSynthesisFilter_SBRHQ_32sc32s(const Qor32sc* pSrc, Qor32s* pDst,
                                            QorsFilterSpec_SBR_32s* pSpec);
QorStatus qorsSynthesisFilter_SBRLP_32s(const Qor32s* pSrc, Qor32s* pDst,
                                        QorsFilterSpec_SBR_32s* pSpec);
QorStatus qorsSynthesisDownFilter_SBRHQ_32sc32s(const Qor32sc* pSrc, Qor32s* pDst,
                                                QorsFilterSpec_SBR_32s* pSpec);
QorStatus qorsSynthesisDownFilter_SBRLP_32s(const Qor32s* pSrc, Qor32s* pDst,
                                            QorsFilterSpec_SBR_32s* pSpec);
/** @} */
/** @} */

/* ================================================================ SBR float filter banks ==== */

/**
 * @addtogroup sbrbank32f
 * @{
 */
/*
 * QMF banks of spectral band replication on floats. A call of a decoder's bank runs numLoop time
 * slots; that is the same as numLoop calls of one slot. The gain is the standard's.
 *
 * Forms. RToC_32f and CToR_32f have complex sub-bands as two lists of rows, RToC_32f32fc and
 * CToR_32fc32f as one list of rows of pairs, RToR_32f the real sub-bands of the low-power mode. A
 * row holds the sub-bands of one slot; rows need no alignment and may lie anywhere.
 *
 * The window is the caller's: coefficients c(i) of the standard's QMF window with the signs of its
 * table, all 640 for the synthesis at full rate, c(2i) for i from 0 to 319 for the other banks.
 *
 * A context holds the history of the bank: one channel, one thread at a time. Unlike with the
 * general transforms pMemInit and pBuffer may not be null.
 */

/**
 * @name Sizes of a decoder's bank
 * @{
 */
/**
 * Tells the bytes that a bank needs. The two complex forms of a bank need the same.
 *
 * @param[out] pSpecSize  bytes of the memory for a context, with room for its alignment
 * @param[out] pInitSize  bytes of the scratch of Init, at least 4
 * @param[out] pBufSize   bytes of the scratch of the filter, at least 4
 * @retval qorStsNullPtrErr  any pointer null
 * @source this library's own context life cycle
 */
QorStatus qorsAnalysisFilterGetSize_SBR_RToC_32f(Qor32s* pSpecSize, Qor32s* pInitSize,
                                                 Qor32s* pBufSize);
QorStatus qorsAnalysisFilterGetSize_SBR_RToC_32f32fc(Qor32s* pSpecSize, Qor32s* pInitSize,
                                                     Qor32s* pBufSize);
QorStatus qorsAnalysisFilterGetSize_SBR_RToR_32f(Qor32s* pSpecSize, Qor32s* pInitSize,
                                                 Qor32s* pBufSize);
QorStatus qorsSynthesisFilterGetSize_SBR_CToR_32f(Qor32s* pSpecSize, Qor32s* pInitSize,
                                                  Qor32s* pBufSize);
QorStatus qorsSynthesisFilterGetSize_SBR_CToR_32fc32f(Qor32s* pSpecSize, Qor32s* pInitSize,
                                                      Qor32s* pBufSize);
QorStatus qorsSynthesisFilterGetSize_SBR_RToR_32f(Qor32s* pSpecSize, Qor32s* pInitSize,
                                                  Qor32s* pBufSize);
QorStatus qorsSynthesisDownFilterGetSize_SBR_CToR_32f(Qor32s* pSpecSize, Qor32s* pInitSize,
                                                      Qor32s* pBufSize);
QorStatus qorsSynthesisDownFilterGetSize_SBR_CToR_32fc32f(Qor32s* pSpecSize, Qor32s* pInitSize,
                                                          Qor32s* pBufSize);
QorStatus qorsSynthesisDownFilterGetSize_SBR_RToR_32f(Qor32s* pSpecSize, Qor32s* pInitSize,
                                                      Qor32s* pBufSize);
/** @} */

/**
 * @name Building a decoder's bank
 * @{
 */
/**
 * Builds a bank with a silent history in the caller's memory. On the memory of a bank that is in
 * use it clears the history. There is no InitAlloc and no Free.
 *
 * @param[out] ppSpec    gets the context. Only this pointer is one: the address of the memory is
 *                       none. It is valid as long as the memory is neither moved nor copied
 * @param[out] pMemSpec  as many bytes as pSpecSize tells, at any address
 * @param[out] pMemInit  scratch, as many bytes as pInitSize tells, at any address; nothing lasts in
 *                       it behind the call
 * @retval qorStsNullPtrErr  any pointer null
 * @source this library's own context life cycle
 */
QorStatus qorsAnalysisFilterInit_SBR_RToC_32f(QorsFilterSpec_SBR_32f** ppSpec, Qor8u* pMemSpec,
                                              Qor8u* pMemInit);
QorStatus qorsAnalysisFilterInit_SBR_RToC_32f32fc(QorsFilterSpec_SBR_32f** ppSpec, Qor8u* pMemSpec,
                                                  Qor8u* pMemInit);
QorStatus qorsAnalysisFilterInit_SBR_RToR_32f(QorsFilterSpec_SBR_32f** ppSpec, Qor8u* pMemSpec,
                                              Qor8u* pMemInit);
QorStatus qorsSynthesisFilterInit_SBR_CToR_32f(QorsFilterSpec_SBR_32f** ppSpec, Qor8u* pMemSpec,
                                               Qor8u* pMemInit);
QorStatus qorsSynthesisFilterInit_SBR_CToR_32fc32f(QorsFilterSpec_SBR_32f** ppSpec, Qor8u* pMemSpec,
                                                   Qor8u* pMemInit);
QorStatus qorsSynthesisFilterInit_SBR_RToR_32f(QorsFilterSpec_SBR_32f** ppSpec, Qor8u* pMemSpec,
                                               Qor8u* pMemInit);
QorStatus qorsSynthesisDownFilterInit_SBR_CToR_32f(QorsFilterSpec_SBR_32f** ppSpec, Qor8u* pMemSpec,
                                                   Qor8u* pMemInit);
QorStatus qorsSynthesisDownFilterInit_SBR_CToR_32fc32f(QorsFilterSpec_SBR_32f** ppSpec,
                                                       Qor8u* pMemSpec, Qor8u* pMemInit);
QorStatus qorsSynthesisDownFilterInit_SBR_RToR_32f(QorsFilterSpec_SBR_32f** ppSpec, Qor8u* pMemSpec,
                                                   Qor8u* pMemInit);
/** @} */

/**
 * @name Analysis to two lists of rows
 * @{
 */
/**
 * Splits 32 samples per slot into 32 complex sub-bands, real and imaginary parts in rows of their
 * own. With x(0) the newest sample of the slot, x(1) the one before it and so on, and k from 0 to
 * 31,
 *
 * @code{.unparsed}
 * u(n) = sum over r from 0 to 4 of pWindow[n + 64 r] x(n + 64 r),   n from 0 to 63
 * X(k) = 2 sum over n of u(n) exp(j pi/64 (k + 1/2)(2n - 1/2))
 * @endcode
 *
 * The order of its checks differs from that of the two other forms.
 *
 * @param[in]     pSrc     32 * numLoop samples of any scale, oldest first
 * @param[in]     ppDstRe  rows of the real parts: slot l goes to row offset + l, which gets 32
 *                         sub-bands, zeros from kx on
 * @param[in]     ppDstIm  rows of the imaginary parts, the same
 * @param[in]     pWindow  320 coefficients c(2i)
 * @param[in]     numLoop  slots; below 1 nothing is done, a success that is tested after all else
 * @param[in]     offset   row of the first slot
 * @param[in]     kx       sub-bands to keep, 0 to 32; the history takes the samples whatever it is
 * @param[in,out] pSpec    context of this form
 * @param[out]    pBuffer  scratch, as many bytes as pBufSize tells, at any address; never null
 * @retval qorStsNullPtrErr       pSpec, pWindow or pBuffer null
 * @retval qorStsContextMatchErr  pSpec is not a context of this form
 * @retval qorStsSizeErr          kx outside 0 to 32
 * @retval qorStsNullPtrErr       pSrc, ppDstRe or ppDstIm null
 * @source ISO/IEC 14496-3, clause 4.6.18.4.1
 */
QorStatus qorsAnalysisFilter_SBR_RToC_32f_D2L(const Qor32f* pSrc, Qor32f* const* ppDstRe,
                                              Qor32f* const* ppDstIm, const Qor32f* pWindow,
                                              Qor32s numLoop, Qor32s offset, Qor32s kx,
                                              QorsFilterSpec_SBR_32f* pSpec, Qor8u* pBuffer);
/** @} */

/**
 * @name Analysis to one list of rows
 * @{
 */
/**
 * Splits 32 samples per slot into 32 sub-bands: complex pairs (RToC_32f32fc) or the real ones of
 * the low-power mode (RToR_32f). With x(0) the newest sample of the slot, x(1) the one before it
 * and so on, and k from 0 to 31,
 *
 * @code{.unparsed}
 * u(n)       = sum over r from 0 to 4 of pWindow[n + 64 r] x(n + 64 r),   n from 0 to 63
 * RToC  X(k) = 2 sum over n of u(n) exp(j pi/64 (k + 1/2)(2n - 1/2))
 * RToR  X(k) = 2 sum over n of u(n) cos(pi/64 (k + 1/2)(2n - 96))
 * @endcode
 *
 * The order of the checks differs from that of qorsAnalysisFilter_SBR_RToC_32f_D2L().
 *
 * @param[in]     pSrc     32 * numLoop samples of any scale, oldest first
 * @param[in]     ppDst    rows: slot l goes to row offset + l, which gets 32 sub-bands, zeros from
 *                         kx on
 * @param[in]     pWindow  320 coefficients c(2i)
 * @param[in]     numLoop  slots; below 1 nothing is done, a success that is tested after all else
 * @param[in]     offset   row of the first slot
 * @param[in]     kx       sub-bands to keep, 0 to 32; the history takes the samples whatever it is
 * @param[in,out] pSpec    context of this form
 * @param[out]    pBuffer  scratch, as many bytes as pBufSize tells, at any address; never null
 * @retval qorStsNullPtrErr       pSpec or pWindow null
 * @retval qorStsContextMatchErr  pSpec is not a context of this form
 * @retval qorStsNullPtrErr       pSrc, ppDst or pBuffer null
 * @retval qorStsSizeErr          kx outside 0 to 32
 * @source ISO/IEC 14496-3, clause 4.6.18.4.1; RToR: its form for the low-power mode
 */
QorStatus qorsAnalysisFilter_SBR_RToC_32f32fc_D2L(const Qor32f* pSrc, Qor32fc* const* ppDst,
                                                  const Qor32f* pWindow, Qor32s numLoop,
                                                  Qor32s offset, Qor32s kx,
                                                  QorsFilterSpec_SBR_32f* pSpec, Qor8u* pBuffer);
QorStatus qorsAnalysisFilter_SBR_RToR_32f_D2L(const Qor32f* pSrc, Qor32f* const* ppDst,
                                              const Qor32f* pWindow, Qor32s numLoop, Qor32s offset,
                                              Qor32s kx, QorsFilterSpec_SBR_32f* pSpec,
                                              Qor8u* pBuffer);
/** @} */

/**
 * @name Synthesis from two lists of rows
 * @{
 */
/**
 * Makes N samples per slot of N complex sub-bands, real and imaginary parts in rows of their own: N
 * is 64, or 32 at half the rate in the downsampled bank (Down). With k from 0 to N - 1 and n from 0
 * to 2N - 1, a slot has the values
 *
 * @code{.unparsed}
 *       V(n) = 1/64 Re sum over k of X(k) exp(j pi/128 (k + 1/2)(2n - 255))
 * Down  V(n) = 1/64 Re sum over k of X(k) exp(j pi/64 (k + 1/2)(2n - 127.5))
 * @endcode
 *
 * and with V_t those of t slots ago the samples are
 *
 * @code{.unparsed}
 * y(i) = sum over t from 0 to 9 of pWindow[N t + i] V_t(N (t mod 2) + i),   i from 0 to N - 1
 * @endcode
 *
 * The order of the checks differs from that of the other forms.
 *
 * @param[in]     ppSrcRe  numLoop rows of 64 real parts, row l for slot l (Down: 32, no more is
 *                         read)
 * @param[in]     ppSrcIm  the rows of the imaginary parts
 * @param[out]    pDst     64 * numLoop samples (Down: 32 * numLoop) in the scale of the sub-bands
 * @param[in]     pWindow  640 coefficients c(i) (Down: 320, c(2i))
 * @param[in]     numLoop  slots; below 1 nothing is done, a success that is tested after all else
 * @param[in,out] pSpec    context of this bank and form
 * @param[out]    pBuffer  scratch, as many bytes as pBufSize tells, at any address; never null
 * @retval qorStsNullPtrErr       pSpec, pWindow or pBuffer null
 * @retval qorStsContextMatchErr  pSpec is not a context of this bank and form
 * @retval qorStsNullPtrErr       ppSrcRe, ppSrcIm or pDst null
 * @source ISO/IEC 14496-3, clause 4.6.18.4.2 (Down: 4.6.18.4.3)
 */
QorStatus qorsSynthesisFilter_SBR_CToR_32f_D2L(const Qor32f* const* ppSrcRe,
                                               const Qor32f* const* ppSrcIm, Qor32f* pDst,
                                               const Qor32f* pWindow, Qor32s numLoop,
                                               QorsFilterSpec_SBR_32f* pSpec, Qor8u* pBuffer);
QorStatus qorsSynthesisDownFilter_SBR_CToR_32f_D2L(const Qor32f* const* ppSrcRe,
                                                   const Qor32f* const* ppSrcIm, Qor32f* pDst,
                                                   const Qor32f* pWindow, Qor32s numLoop,
                                                   QorsFilterSpec_SBR_32f* pSpec, Qor8u* pBuffer);
/** @} */

/**
 * @name Synthesis from one list of rows
 * @{
 */
/**
 * Makes N samples per slot of N sub-bands, complex pairs (CToR_32fc32f) or the real ones of the
 * low-power mode (RToR_32f): N is 64, or 32 at half the rate in the downsampled banks (Down). With
 * k from 0 to N - 1 and n from 0 to 2N - 1, a slot has the values
 *
 * @code{.unparsed}
 * CToR        V(n) = 1/64 Re sum over k of X(k) exp(j pi/128 (k + 1/2)(2n - 255))
 * CToR, Down  V(n) = 1/64 Re sum over k of X(k) exp(j pi/64 (k + 1/2)(2n - 127.5))
 * RToR        V(n) = 1/32 sum over k of X(k) cos(pi/128 (k + 1/2)(2n - 64))
 * RToR, Down  V(n) = 1/32 sum over k of X(k) cos(pi/64 (k + 1/2)(2n - 32))
 * @endcode
 *
 * and with V_t those of t slots ago the samples are
 *
 * @code{.unparsed}
 * y(i) = sum over t from 0 to 9 of pWindow[N t + i] V_t(N (t mod 2) + i),   i from 0 to N - 1
 * @endcode
 *
 * The order of the checks differs from that of the CToR_32f forms.
 *
 * @param[in]     ppSrc    numLoop rows of 64 sub-bands, row l for slot l (Down: 32, no more is
 *                         read)
 * @param[out]    pDst     64 * numLoop samples (Down: 32 * numLoop) in the scale of the sub-bands
 * @param[in]     pWindow  640 coefficients c(i) (Down: 320, c(2i))
 * @param[in]     numLoop  slots; below 1 nothing is done, a success that is tested after all else
 * @param[in,out] pSpec    context of this bank and form
 * @param[out]    pBuffer  scratch, as many bytes as pBufSize tells, at any address; never null
 * @retval qorStsNullPtrErr       pSpec or pWindow null
 * @retval qorStsContextMatchErr  pSpec is not a context of this bank and form
 * @retval qorStsNullPtrErr       ppSrc, pDst or pBuffer null
 * @source ISO/IEC 14496-3, clause 4.6.18.4.2 (Down: 4.6.18.4.3); RToR: its form for the low-power
 *         mode
 */
QorStatus qorsSynthesisFilter_SBR_CToR_32fc32f_D2L(const Qor32fc* const* ppSrc, Qor32f* pDst,
                                                   const Qor32f* pWindow, Qor32s numLoop,
                                                   QorsFilterSpec_SBR_32f* pSpec, Qor8u* pBuffer);
QorStatus qorsSynthesisFilter_SBR_RToR_32f_D2L(const Qor32f* const* ppSrc, Qor32f* pDst,
                                               const Qor32f* pWindow, Qor32s numLoop,
                                               QorsFilterSpec_SBR_32f* pSpec, Qor8u* pBuffer);
QorStatus qorsSynthesisDownFilter_SBR_CToR_32fc32f_D2L(const Qor32fc* const* ppSrc, Qor32f* pDst,
                                                       const Qor32f* pWindow, Qor32s numLoop,
                                                       QorsFilterSpec_SBR_32f* pSpec,
                                                       Qor8u* pBuffer);
QorStatus qorsSynthesisDownFilter_SBR_RToR_32f_D2L(const Qor32f* const* ppSrc, Qor32f* pDst,
                                                   const Qor32f* pWindow, Qor32s numLoop,
                                                   QorsFilterSpec_SBR_32f* pSpec, Qor8u* pBuffer);
/** @} */

/**
 * @name The encoder's bank
 * @{
 */
/**
 * Tells the bytes that the encoder's bank needs.
 *
 * @param[out] pSpecSize  bytes of the memory for a context, with room for its alignment
 * @param[out] pInitSize  bytes of the scratch of Init, at least 4
 * @retval qorStsNullPtrErr  either pointer null
 * @source this library's own context life cycle
 */
QorStatus qorsAnalysisFilterEncGetSize_SBR_32f(Qor32s* pSpecSize, Qor32s* pInitSize);

/**
 * Builds a context of the encoder's bank in the caller's memory, which cannot be moved or copied
 * afterwards. The context holds tables and scratch and no history: it serves any number of channels
 * in turn, but one thread at a time.
 *
 * @param[out] pSpec     as many bytes as pSpecSize tells, at any address; this pointer is the
 *                       context
 * @param[out] pMemInit  scratch, as many bytes as pInitSize tells, at any address
 * @retval qorStsNullPtrErr  either pointer null
 * @source this library's own context life cycle
 */
QorStatus qorsAnalysisFilterEncInit_SBR_32f(QorsFilterEncSpec_SBR_32f* pSpec, Qor8u* pMemInit);

/**
 * Allocates and builds a context of the encoder's bank.
 *
 * @param[out] ppSpec  gets the context. When the allocation of the context failed it is null; when
 *                     it was that of the scratch, a block without a context, which the caller
 *                     releases with `void qorFree(void*)` of the core library
 * @retval qorStsNullPtrErr   ppSpec null
 * @retval qorStsMemAllocErr  an allocation failed
 * @source this library's own context life cycle
 */
QorStatus qorsAnalysisFilterEncInitAlloc_SBR_32f(QorsFilterEncSpec_SBR_32f** ppSpec);

/**
 * Releases a context of the encoder's bank that InitAlloc made. One that Init made stays as it is
 * and usable.
 *
 * @param[in,out] pSpec  the context
 * @retval qorStsNullPtrErr       pSpec null
 * @retval qorStsContextMatchErr  pSpec is not a context of this bank
 * @source this library's own context life cycle
 */
QorStatus qorsAnalysisFilterEncFree_SBR_32f(QorsFilterEncSpec_SBR_32f* pSpec);

/**
 * Splits 64 new samples into 64 complex sub-bands, for an SBR encoder. With c the standard's
 * window, which the bank brings along,
 *
 * @code{.unparsed}
 * u(n)    = sum over r from 0 to 4 of pSrc[639 - 128 r - n] c(n + 128 r),   n from 0 to 127
 * pDst[k] = sum over n of u(n) exp(j pi/128 (k + 1/2)(2n + 1)),             k from 0 to 63
 * @endcode
 *
 * @param[in]     pSrc   the last 640 samples of any scale, oldest first; the caller moves on by 64
 *                       samples per slot
 * @param[out]    pDst   64 sub-band samples in the scale of the samples; must not overlap pSrc
 * @param[in,out] pSpec  the context, in which only scratch is written
 * @retval qorStsNullPtrErr       pSrc, pDst or pSpec null
 * @retval qorStsContextMatchErr  pSpec is not a context of this bank
 * @source this library's own, on the QMF window of ISO/IEC 14496-3, clause 4.6.18.4
 */
QorStatus qorsAnalysisFilterEnc_SBR_32f32fc(const Qor32f* pSrc, Qor32fc* pDst,
                                            QorsFilterEncSpec_SBR_32f* pSpec);
/** @} */
/** @} */

/* ================================================================ SBR tools ================= */

/**
 * @addtogroup sbrtools
 * @{
 */

/**
 * @name Predictors of a range of sub-bands, from two lists of rows
 * @{
 */
/**
 * Finds linear predictors of second order by the covariance method, for the inverse filtering of
 * the high-frequency generator, of the sub-bands 0 to numBands - 1 each by itself; real and
 * imaginary parts stand in rows of their own. With z(n) the sample of a sub-band in row n, L = len
 * and * the conjugate,
 *
 * @code{.unparsed}
 * phi01 = sum z(n + 1) z(n)*, n = 1 .. L       phi11 = sum |z(n)|^2, n = 1 .. L
 * phi02 = sum z(n + 2) z(n)*, n = 0 .. L - 1   phi22 = sum |z(n)|^2, n = 0 .. L - 1
 * phi12 = sum z(n + 1) z(n)*, n = 0 .. L - 1   det   = phi22 phi11 - 0.99999905 |phi12|^2
 *
 * alpha1 = (phi01 phi12 - phi02 phi11) / det   0 where det is 0
 * alpha0 = -(phi01 + alpha1 phi12*) / phi11    0 where phi11 is not above 0
 * @endcode
 *
 * so that z(n) + alpha0 z(n - 1) + alpha1 z(n - 2) is what cannot be predicted. The factor of the
 * square in det is 1 - 2^-20. All steps are of single precision.
 *
 * A predictor with a coefficient of a magnitude above 4 is unstable, and both of its coefficients
 * become 0. A magnitude of exactly 4 passes in the sub-bands below numBands - numBands % 4 and does
 * not in the rest.
 *
 * @param[in]  ppSrcRe    rows 0 to len + 1, one per time slot, of numBands real parts of any scale
 * @param[in]  ppSrcIm    the rows of the imaginary parts
 * @param[out] pAlpha0Re  numBands real parts of alpha0
 * @param[out] pAlpha0Im  numBands imaginary parts of alpha0
 * @param[out] pAlpha1Re  numBands real parts of alpha1
 * @param[out] pAlpha1Im  numBands imaginary parts of alpha1
 * @param[in]  numBands   sub-bands; it is not checked, below 1 nothing is done
 * @param[in]  len        length of the covariance; below 1 the coefficients stay as they are and
 *                        the status is qorStsNoErr
 * @retval qorStsNullPtrErr  any pointer null, whatever len is
 * @source ISO/IEC 14496-3, clause 4.6.18, inverse filtering of the high-frequency generator; the
 *         factor in det is this library's
 */
QorStatus qorsPredictCoef_SBR_C_32f_D2L(const Qor32f* const* ppSrcRe, const Qor32f* const* ppSrcIm,
                                        Qor32f* pAlpha0Re, Qor32f* pAlpha0Im, Qor32f* pAlpha1Re,
                                        Qor32f* pAlpha1Im, Qor32s numBands, Qor32s len);
/** @} */

/**
 * @name Predictors of a range of sub-bands, from one list of rows
 * @{
 */
/**
 * Finds the predictors of qorsPredictCoef_SBR_C_32f_D2L() of complex pairs (C_32fc) or of the real
 * sub-bands of the low-power mode (R_32f), by the same rules.
 *
 * @param[in]  ppSrc     rows 0 to len + 1, one per time slot, of numBands samples of any scale
 * @param[out] pAlpha0   numBands coefficients alpha0
 * @param[out] pAlpha1   numBands coefficients alpha1
 * @param[in]  numBands  sub-bands; it is not checked, below 1 nothing is done
 * @param[in]  len       length of the covariance; below 1 the coefficients stay as they are and the
 *                       status is qorStsNoErr
 * @retval qorStsNullPtrErr  any pointer null, whatever len is
 * @source ISO/IEC 14496-3, clause 4.6.18, inverse filtering of the high-frequency generator; the
 *         factor in det is this library's
 */
QorStatus qorsPredictCoef_SBR_C_32fc_D2L(const Qor32fc* const* ppSrc, Qor32fc* pAlpha0,
                                         Qor32fc* pAlpha1, Qor32s numBands, Qor32s len);
QorStatus qorsPredictCoef_SBR_R_32f_D2L(const Qor32f* const* ppSrc, Qor32f* pAlpha0,
                                        Qor32f* pAlpha1, Qor32s numBands, Qor32s len);
/** @} */

/**
 * @name Integer predictors of one sub-band
 * @{
 */
/**
 * Finds the complex linear predictor of second order of one sub-band, in integers. The sums and
 * coefficients are those of qorsPredictCoef_SBR_C_32fc_D2L(), but the determinant is used without
 * the factor: where it is not above 0, as it may be for one pure tone, alpha1 is 0.
 *
 * A predictor with a squared magnitude of 16 or more in one of its coefficients is answered with
 * zeros in both; but a part outside -4 to 4 does not fit Q29 and wraps before it can be seen to be
 * too large. A silent sub-band gives zeros.
 *
 * @param[in]  ppSrc    40 rows of samples in any Q format, one per time slot; all of them are read
 *                      at element k, and the rows 0 to len + 1 count
 * @param[out] pAlpha0  alpha0, Q29 in each part
 * @param[out] pAlpha1  alpha1, Q29 in each part
 * @param[in]  k        the sub-band, an element of the rows; not checked
 * @param[in]  len      length of the covariance, at most 38, not checked; below 1 all results are 0
 * @retval qorStsNoErr  always; nothing is checked, and no pointer may be null
 * @source ISO/IEC 14496-3, clause 4.6.18, inverse filtering of the high-frequency generator
 */
QorStatus qorsPredictOneCoef_SBRHQ_32sc_D2L(const Qor32sc* const* ppSrc, Qor32sc* pAlpha0,
                                            Qor32sc* pAlpha1, Qor32s k, Qor32s len);

/**
 * Finds the real linear predictor of second order of one sub-band, in integers, and its reflection
 * coefficient. The sums and coefficients are those of qorsPredictCoef_SBR_R_32f_D2L() with the same
 * factor in the determinant; alpha1 is 0 where the determinant is not above 0.
 *
 * A predictor with a squared magnitude of 16 or more in one of its coefficients is answered with
 * zeros in both; but a coefficient outside -4 to 4 does not fit Q29 and wraps before it can be seen
 * to be too large. A silent sub-band gives zeros.
 *
 * @param[in]  ppSrc     40 rows of samples in any Q format, one per time slot; all of them are read
 *                       at element k, and the rows 0 to len + 1 count
 * @param[out] pAlpha0   alpha0, Q29; 0 with flag 0
 * @param[out] pAlpha1   alpha1, Q29; 0 with flag 0
 * @param[out] pRefCoef  reflection coefficient -phi01 / phi11, Q29, limited to plus and minus 1.0
 *                       (a quotient outside -4 to 4 wraps before it is limited); it stands even
 *                       where the predictor is answered with zeros
 * @param[in]  k         the sub-band, an element of the rows; not checked
 * @param[in]  len       length of the covariance, at most 38, not checked; below 1 all results are
 *                       0
 * @param[in]  flag      0: the reflection coefficient only, which may differ in its last bits; else
 *                       all three
 * @retval qorStsNoErr  always; nothing is checked, and no pointer may be null
 * @source ISO/IEC 14496-3, clause 4.6.18, inverse filtering of the high-frequency generator and
 *         reflection coefficient of the low-power mode
 */
QorStatus qorsPredictOneCoef_SBRLP_32s_D2L(const Qor32s* const* ppSrc, Qor32s* pAlpha0,
                                           Qor32s* pAlpha1, Qor32s* pRefCoef, Qor32s k, Qor32s len,
                                           Qor32s flag);
/** @} */

/**
 * @name Measures of an encoder
 * @{
 */
/**
 * Measures the tonality of a sub-band, for an SBR encoder: the ratio of what a linear predictor
 * explains of the energy to what it leaves, of each half of 32 samples.
 *
 * The predictor is that of qorsPredictCoef_SBR_C_32fc_D2L() over len = 14 without the limit of
 * stability. With g the share that it explains the ratio is g / (1.000001 - g), 1000000 where g is
 * within 1e-6 of 1. In very quiet sub-bands, where the square of det vanishes in single precision
 * both coefficients are 0, where that of phi11 does alpha0 is 0, and where that of the energy does
 * the ratio is 0.
 *
 * @param[in]  pSrc      32 samples of one sub-band in time order, of any scale: two halves of 16
 * @param[out] pTNR0     ratio of the first half
 * @param[out] pTNR1     ratio of the second half
 * @param[out] pMeanNrg  half the sum of the halves' energies, each the sum of squared magnitudes of
 *                       the 14 samples from the third on
 * @retval qorStsNullPtrErr  any pointer null
 * @source this library's own measure
 */
QorStatus qorsEstimateTNR_SBR_32f(const Qor32fc* pSrc, Qor32f* pTNR0, Qor32f* pTNR1,
                                  Qor32f* pMeanNrg);

/**
 * Detects transients of an envelope of energies, for an SBR encoder. Each of three steps v of the
 * envelope that is above a threshold t adds v / t - 1 to element e of pDst. The threshold follows
 * s, the standard deviation of pSrc[16] to pSrc[63] (48 values, divided by 47); the steps are taken
 * from the means of pairs:
 *
 * @code{.unparsed}
 * t    = max(128000, 0.34 s + 0.66 *pThr)
 * P(e) = (pSrc[e] + pSrc[e + 1]) / 2, e even
 *
 *      even e, 16 to 60               odd e, 17 to 59
 * a =  P(e) - P(e - 2)                P(e + 1) - P(e - 1)
 * b =  a + P(e + 2) - P(e - 2)        a + P(e + 1) - P(e - 3)
 * c =  b + P(e + 2) - P(e - 4)        b + P(e + 3) - P(e - 3)
 * @endcode
 *
 * @param[in]     pSrc  64 energies, in the scale of 16-bit samples
 * @param[in,out] pThr  the threshold, in the caller's keeping from call to call; becomes t
 * @param[in,out] pDst  64 values, of which 16 to 60 are added to and the others stay as they are
 * @retval qorStsNullPtrErr  any pointer null
 * @source this library's own detector
 */
QorStatus qorsDetectTransient_SBR_32f(const Qor32f* pSrc, Qor32f* pThr, Qor32f* pDst);
/** @} */
/** @} */

/* ================================================================ parametric stereo ========= */

/**
 * @addtogroup ps
 * @{
 */

/**
 * Splits one QMF sub-band of 32 slots into Q sub-sub-bands by a filter of 13 taps g symmetrical
 * about tap 6. For t from 0 to 31 and q from 0 to Q - 1,
 *
 * @code{.unparsed}
 * pDst[12 t + q] = sum over i from 0 to 12 of g(i) pSrc[t + i] exp(-j 2 pi / Q (q + 1/2)(i - 6))
 * @endcode
 *
 * The bank of Q = 2 has no phases: sub-sub-band 0 is the sum of g(i) pSrc[t + i], and 1 is what is
 * left of pSrc[t + 6]. In all banks the parts of a sub-band add up to pSrc[t + 6].
 *
 * @param[in]  pSrc    44 samples of any scale in time order: the last 12 of the frame before, then
 *                     the 32 slots of the frame
 * @param[out] pDst    32 rows of 12; the first Q elements of each row are written, the others stay
 *                     as they are. Must not overlap pSrc
 * @param[in]  config  the bank: 0 for Q = 2, 1 for Q = 4, 2 and 3 for the two filters of Q = 8 (of
 *                     the standard's 20 and 34 stereo bands), 4 for Q = 12
 * @retval qorStsNullPtrErr  pSrc or pDst null
 * @retval qorStsBadArgErr   config outside 0 to 4
 * @source ISO/IEC 14496-3, subpart 8, hybrid filter bank of parametric stereo
 */
QorStatus qorsAnalysisFilter_PS_32fc_D2(const Qor32fc* pSrc, Qor32fc* pDst, Qor32s config);
/** @} */

/* ================================================================ general MDCT ============== */

/**
 * @addtogroup mdct
 * @{
 */
/*
 * Modified discrete cosine transform of one block, without window and without overlap-add. A block
 * has len = N samples and N/2 coefficients; with n0 = (N/2 + 1) / 2, n from 0 to N - 1 and k from 0
 * to N/2 - 1:
 *
 *   forward   X[k] = 2   * sum over n of x[n] cos(2 pi/N (n + n0)(k + 1/2))
 *   inverse   y[n] = 2/N * sum over k of X[k] cos(2 pi/N (n + n0)(k + 1/2))
 *
 * A context holds the tables of one length and one direction. Transforms only read it, so that any
 * number of threads can share it. No pointer needs alignment.
 */

/**
 * @name Sizes for floats
 * @{
 */
/**
 * Tells the bytes that the transforms of one length need.
 *
 * @param[in]  len        block length N: 12, 36 (the blocks of ISO 11172-3 Layer III) or a power of
 *                        two from 32 to 2^28
 * @param[out] pSizeSpec  bytes of the memory for a context
 * @param[out] pSizeInit  bytes of the scratch of Init; may be 0
 * @param[out] pSizeBuf   bytes of the work memory of a transform
 * @retval qorStsNullPtrErr  any pointer null
 * @retval qorStsSizeErr     len is none of the lengths above
 * @source this library's own context life cycle
 */
QorStatus qorsMDCTFwdGetSize_32f(Qor32s len, Qor32s* pSizeSpec, Qor32s* pSizeInit,
                                 Qor32s* pSizeBuf);
QorStatus qorsMDCTInvGetSize_32f(Qor32s len, Qor32s* pSizeSpec, Qor32s* pSizeInit,
                                 Qor32s* pSizeBuf);
/** @} */

/**
 * @name Building a context for floats in the caller's memory
 * @{
 */
/**
 * Builds the context of one length and direction. The context lives as long as the memory, which
 * cannot be moved or copied.
 *
 * @param[out] ppSpec    gets the context, a place in the memory; untouched on failure
 * @param[in]  len       block length N: 12, 36 or a power of two from 32 to 2^28
 * @param[out] pMemSpec  as many bytes as pSizeSpec tells
 * @param[out] pMemInit  scratch, as many bytes as pSizeInit tells; null will do for 12 and 36 only
 * @retval qorStsSizeErr     len is none of the lengths above
 * @retval qorStsNullPtrErr  ppSpec or pMemSpec null; pMemInit null for a power of two (even where
 *                           pSizeInit is 0)
 * @source this library's own context life cycle
 */
QorStatus qorsMDCTFwdInit_32f(QorsMDCTFwdSpec_32f** ppSpec, Qor32s len, Qor8u* pMemSpec,
                              Qor8u* pMemInit);
QorStatus qorsMDCTInvInit_32f(QorsMDCTInvSpec_32f** ppSpec, Qor32s len, Qor8u* pMemSpec,
                              Qor8u* pMemInit);
/** @} */

/**
 * @name Allocating a context for floats
 * @{
 */
/**
 * Allocates and builds the context of one length and direction.
 *
 * @param[out] ppSpec  gets the context; untouched on failure, when nothing is left allocated
 * @param[in]  len     block length N: 12, 36 or a power of two from 32 to 2^28
 * @retval qorStsNullPtrErr   ppSpec null
 * @retval qorStsSizeErr      len is none of the lengths above
 * @retval qorStsMemAllocErr  an allocation failed
 * @source this library's own context life cycle
 */
QorStatus qorsMDCTFwdInitAlloc_32f(QorsMDCTFwdSpec_32f** ppSpec, Qor32s len);
QorStatus qorsMDCTInvInitAlloc_32f(QorsMDCTInvSpec_32f** ppSpec, Qor32s len);
/** @} */

/**
 * @name Ending a context for floats
 * @{
 */
/**
 * Ends a context: no function accepts it any more. What InitAlloc allocated is released.
 *
 * @param[in,out] pSpec  context of this direction
 * @retval qorStsNullPtrErr       pSpec null
 * @retval qorStsContextMatchErr  pSpec is not a context of this direction
 * @source this library's own context life cycle
 */
QorStatus qorsMDCTFwdFree_32f(QorsMDCTFwdSpec_32f* pSpec);
QorStatus qorsMDCTInvFree_32f(QorsMDCTInvSpec_32f* pSpec);
/** @} */

/**
 * @name Work memory for floats
 * @{
 */
/**
 * Tells the bytes of the work memory that a transform with this context needs.
 *
 * @param[in]  pSpec  context of this direction
 * @param[out] pSize  bytes
 * @retval qorStsNullPtrErr       pSpec or pSize null
 * @retval qorStsContextMatchErr  pSpec is not a context of this direction
 * @source this library's own context life cycle
 */
QorStatus qorsMDCTFwdGetBufSize_32f(const QorsMDCTFwdSpec_32f* pSpec, Qor32s* pSize);
QorStatus qorsMDCTInvGetBufSize_32f(const QorsMDCTInvSpec_32f* pSpec, Qor32s* pSize);
/** @} */

/**
 * @name Transforms of floats
 * @{
 */
/**
 * Transforms a block of N = len samples to N/2 coefficients (Fwd) or back to the time-aliased block
 * (Inv). With n0 = (N/2 + 1) / 2,
 *
 * @code{.unparsed}
 * Fwd  X[k] = 2   * sum over n from 0 to N - 1   of x[n] cos(2 pi/N (n + n0)(k + 1/2))
 * Inv  y[n] = 2/N * sum over k from 0 to N/2 - 1 of X[k] cos(2 pi/N (n + n0)(k + 1/2))
 * @endcode
 *
 * Forward and inverse of blocks that overlap by half, windowed twice with a window whose squares
 * sum to 1 over the overlap, give the signal back.
 *
 * @param[in]  pSrc     Fwd: N samples; Inv: N/2 coefficients; of any scale
 * @param[out] pDst     Fwd: N/2 coefficients; Inv: N samples. The same as pSrc, or does not overlap
 *                      it
 * @param[in]  pSpec    context of this direction
 * @param[out] pBuffer  work memory, as many bytes as GetBufSize tells; nothing lasts in it behind
 *                      the call. With null the transform allocates and releases as much
 * @retval qorStsNullPtrErr       pSpec null
 * @retval qorStsContextMatchErr  pSpec is not a context of this direction
 * @retval qorStsNullPtrErr       pSrc or pDst null
 * @retval qorStsMemAllocErr      pBuffer null and the allocation failed
 * @source ISO/IEC 13818-7, clause 15, without window and overlap-add
 */
QorStatus qorsMDCTFwd_32f(const Qor32f* pSrc, Qor32f* pDst, const QorsMDCTFwdSpec_32f* pSpec,
                          Qor8u* pBuffer);
QorStatus qorsMDCTInv_32f(const Qor32f* pSrc, Qor32f* pDst, const QorsMDCTInvSpec_32f* pSpec,
                          Qor8u* pBuffer);
/** @} */

/**
 * @name Transforms of floats in place
 * @{
 */
/**
 * Transforms as qorsMDCTFwd_32f() and qorsMDCTInv_32f() do, in one array.
 *
 * @param[in,out] pSrcDst  N floats. Fwd: N samples in, the first N/2 elements are the coefficients
 *                         out. Inv: the first N/2 elements are the coefficients in, N samples out
 * @param[in]     pSpec    context of this direction
 * @param[out]    pBuffer  work memory, as many bytes as GetBufSize tells; nothing lasts in it
 *                         behind the call. With null the transform allocates and releases as much
 * @retval qorStsNullPtrErr       pSpec null
 * @retval qorStsContextMatchErr  pSpec is not a context of this direction
 * @retval qorStsNullPtrErr       pSrcDst null
 * @retval qorStsMemAllocErr      pBuffer null and the allocation failed
 * @source ISO/IEC 13818-7, clause 15, without window and overlap-add
 */
QorStatus qorsMDCTFwd_32f_I(Qor32f* pSrcDst, const QorsMDCTFwdSpec_32f* pSpec, Qor8u* pBuffer);
QorStatus qorsMDCTInv_32f_I(Qor32f* pSrcDst, const QorsMDCTInvSpec_32f* pSpec, Qor8u* pBuffer);
/** @} */

/**
 * @name Forward transform of 16-bit samples
 * @{
 */
/**
 * Tells the bytes that the forward transform of 16-bit samples needs.
 *
 * @param[in]  len        block length N, a power of two from 32 to 2^28; not 12 and 36
 * @param[out] pSizeSpec  bytes of the memory for a context
 * @param[out] pSizeInit  bytes of the scratch of Init
 * @param[out] pSizeBuf   bytes of the work memory of the transform
 * @retval qorStsNullPtrErr  any pointer null
 * @retval qorStsSizeErr     len is not such a power of two
 * @source this library's own context life cycle
 */
QorStatus qorsMDCTFwdGetSize_16s(Qor32s len, Qor32s* pSizeSpec, Qor32s* pSizeInit,
                                 Qor32s* pSizeBuf);

/**
 * Builds the context of one length for 16-bit samples. The context lives as long as the memory,
 * which cannot be moved or copied. Unlike with floats the pointers are tested first.
 *
 * @param[out] ppSpec    gets the context, a place in the memory; untouched on failure
 * @param[in]  len       block length N, a power of two from 32 to 2^28
 * @param[out] pMemSpec  as many bytes as pSizeSpec tells
 * @param[out] pMemInit  scratch, as many bytes as pSizeInit tells
 * @retval qorStsNullPtrErr  ppSpec, pMemSpec or pMemInit null
 * @retval qorStsSizeErr     len is not such a power of two
 * @source this library's own context life cycle
 */
QorStatus qorsMDCTFwdInit_16s(QorsMDCTFwdSpec_16s** ppSpec, Qor32s len, Qor8u* pMemSpec,
                              Qor8u* pMemInit);

/**
 * Allocates and builds the context of one length for 16-bit samples.
 *
 * @param[out] ppSpec  gets the context; untouched on failure, when nothing is left allocated
 * @param[in]  len     block length N, a power of two from 32 to 2^28
 * @retval qorStsNullPtrErr   ppSpec null
 * @retval qorStsSizeErr      len is not such a power of two
 * @retval qorStsMemAllocErr  an allocation failed
 * @source this library's own context life cycle
 */
QorStatus qorsMDCTFwdInitAlloc_16s(QorsMDCTFwdSpec_16s** ppSpec, Qor32s len);

/**
 * Ends a context for 16-bit samples: no function accepts it any more. What InitAlloc allocated is
 * released.
 *
 * @param[in,out] pSpec  the context
 * @retval qorStsNullPtrErr       pSpec null
 * @retval qorStsContextMatchErr  pSpec is not a context of this transform
 * @source this library's own context life cycle
 */
QorStatus qorsMDCTFwdFree_16s(QorsMDCTFwdSpec_16s* pSpec);

/**
 * Tells the bytes of the work memory that a transform of 16-bit samples with this context needs.
 *
 * @param[in]  pSpec  the context
 * @param[out] pSize  bytes
 * @retval qorStsNullPtrErr       pSpec or pSize null
 * @retval qorStsContextMatchErr  pSpec is not a context of this transform
 * @source this library's own context life cycle
 */
QorStatus qorsMDCTFwdGetBufSize_16s(const QorsMDCTFwdSpec_16s* pSpec, Qor32s* pSize);

/**
 * Transforms a block of N = len 16-bit samples to N/2 coefficients: 2^-scaleFactor * X[k], with
 * X[k] as with floats, rounded to nearest with ties to even and saturated to 16 bits.
 *
 * The block is brought to the full 16-bit range before the transform, so that the precision does
 * not depend on its level; a block of zeros gives zeros. There is no inverse.
 *
 * @param[in]  pSrc         N samples in any Q format
 * @param[out] pDst         N/2 coefficients, in the Q format of the samples less scaleFactor. The
 *                          same as pSrc, or does not overlap it
 * @param[in]  pSpec        the context
 * @param[in]  scaleFactor  any value; a positive one shrinks the coefficients
 * @param[out] pBuffer      work memory, as many bytes as GetBufSize tells; nothing lasts in it
 *                          behind the call. With null the transform allocates and releases as much
 * @retval qorStsNullPtrErr       pSpec null
 * @retval qorStsContextMatchErr  pSpec is not a context of this transform
 * @retval qorStsNullPtrErr       pSrc or pDst null
 * @retval qorStsMemAllocErr      pBuffer null and the allocation failed
 * @source ISO/IEC 13818-7, clause 15, without window and overlap-add
 */
QorStatus qorsMDCTFwd_16s_Sfs(const Qor16s* pSrc, Qor16s* pDst, const QorsMDCTFwdSpec_16s* pSpec,
                              Qor32s scaleFactor, Qor8u* pBuffer);
/** @} */
/** @} */

/* ================================================================ VLC escape blocks ========= */

/**
 * @addtogroup vlc
 *
 * @par Cursor and codes
 * Codes go through the bit cursor ppBitStream, pBitOffset. Code records are only read and can be
 * shared; the pointer to one is aligned up to a multiple of 32 bytes before it is used. The record
 * behind it and its tables are trusted.
 *
 * @par Stream
 *  - AAC: the code, the sign of x, the sign of y, the escape of x, the escape of y: a value from 16
 *    up is coded as 16, and its escape is up to eight ones, a zero, and as many bits of the
 *    magnitude as there are ones and four more, below its leading one.
 *  - MP3: the code, linbits and sign of x, linbits and sign of y: a value from 15 up is coded as 15
 *    and has its magnitude less 15 in linbits.
 *
 * A sign is there for each value that is not 0, and 1 for a negative one. The Esc forms know
 * symbols with signs: the code of such a symbol ends with its signs where the book has them apart.
 * The UTuple forms know magnitudes and read the signs from the stream.
 *
 * @par Decoding table
 * The table of a #QorVLCDecodeSpec has levels. A level starts with an element that holds its number
 * of bits b and has 2^b entries, one for each value of the next b bits; the first level starts at
 * element 0. An entry with bit 0 clear is a link: entry >> 1 is the element where the next level
 * starts. One with bit 0 set is a leaf: bits 1 to lengthBits are the number of bits that the last
 * level consumes, which together with all bits of the levels before is the length of the code. The
 * bits of all levels of a way are at most maxBits, and this is at most 30. Above the length a leaf
 * holds
 *  - Esc: y + 128 in eight bits, then x, signed, in all bits up to the top of the element;
 *  - UTuple: a field of tupleBits with x in its top tupleElementBits and y in those below,
 *    unsigned.
 *
 * @par Encoding table
 * The table of a #QorVLCEncodeSpec has for 2^tableBits indices the lengths of the codes, then the
 * codes, right-aligned, with their signs, x before y. The index of a pair is
 *  - AAC: bias + 16 + 64 x + y, x and y from -16 to 16;
 *  - MP3: bias + 15 + 32 x + y, x and y from -15 to 15.
 *
 * @{
 */

/**
 * @name Decoding
 * @{
 */
/**
 * Decodes a block of pairs x, y.
 *
 * At most two 32-bit words behind the last bit used are touched.
 *
 * @param[in,out] ppBitStream  pointer to the current byte (itself not tested for null); moves to
 *                             the byte of the bit behind the last one used
 * @param[in,out] pBitOffset   bits of that byte in use, 0 to 7; moves on
 * @param[in]     linbits      MP3 forms: width of an escape in bits, 0 to 31, not checked
 * @param[out]    pDst         len values with their signs, x before y
 * @param[in]     len          number of values; its lowest bit is dropped. A block without pairs
 *                             does nothing
 * @param[in]     pSpec        the code book, Esc forms with signed leaves, UTuple forms with
 *                             unsigned
 * @retval qorStsNullPtrErr            any pointer null
 * @retval qorStsVlcBitOffsetErr       *pBitOffset outside 0 to 7
 * @retval qorStsContextMatchErr       the id of the record is not 0x434D4160
 * @retval qorStsVlcEscapeOverflowErr  AAC forms, late: an escape of more than eight ones. The
 *                                     cursor is as it was, the values before this one are stored
 * @source AAC forms ISO/IEC 13818-7, clause 9.2.2; MP3 forms ISO 11172-3, clause 2.4.2.7
 */
QorStatus qorsVLCDecodeEscBlock_AAC_1u16s(Qor8u** ppBitStream, Qor32s* pBitOffset, Qor16s* pDst,
                                          Qor32s len, const QorVLCDecodeSpec* pSpec);
QorStatus qorsVLCDecodeEscBlock_MP3_1u16s(Qor8u** ppBitStream, Qor32s* pBitOffset, Qor32s linbits,
                                          Qor16s* pDst, Qor32s len, const QorVLCDecodeSpec* pSpec);
QorStatus qorsVLCDecodeUTupleEscBlock_AAC_1u16s(Qor8u** ppBitStream, Qor32s* pBitOffset,
                                                Qor16s* pDst, Qor32s len,
                                                const QorVLCDecodeSpec* pSpec);
QorStatus qorsVLCDecodeUTupleEscBlock_MP3_1u16s(Qor8u** ppBitStream, Qor32s* pBitOffset,
                                                Qor32s linbits, Qor16s* pDst, Qor32s len,
                                                const QorVLCDecodeSpec* pSpec);
/** @} */

/**
 * @name Encoding
 * @{
 */
/**
 * Encodes a block of pairs x, y at the cursor.
 *
 * Only the bits written change: those in front of the cursor and behind the last bit stay as they
 * are, and no byte that holds none of the bits is touched.
 *
 * @param[in]     pSrc         len values, x before y. AAC values beyond 8191 in magnitude and MP3
 *                             values beyond 14 + 2^linbits are not refused; what is written for
 *                             them cannot be decoded
 * @param[in]     len          number of values; its lowest bit is dropped. A block without pairs
 *                             does nothing
 * @param[in]     linbits      MP3 form: width of an escape in bits, 0 to 31, not checked
 * @param[in,out] ppBitStream  pointer to the current byte (itself not tested for null); moves to
 *                             the byte of the bit behind the last one written
 * @param[in,out] pBitOffset   bits of that byte in use, 0 to 7; moves on
 * @param[in]     pSpec        the code book
 * @retval qorStsNullPtrErr       any pointer null
 * @retval qorStsVlcBitOffsetErr  *pBitOffset outside 0 to 7
 * @retval qorStsContextMatchErr  the id of the record is not 0x434D415F
 * @source AAC form ISO/IEC 13818-7, clause 9.2.2; MP3 form ISO 11172-3, clause 2.4.2.7
 */
QorStatus qorsVLCEncodeEscBlock_AAC_16s1u(const Qor16s* pSrc, Qor32s len, Qor8u** ppBitStream,
                                          Qor32s* pBitOffset, const QorVLCEncodeSpec* pSpec);
QorStatus qorsVLCEncodeEscBlock_MP3_16s1u(const Qor16s* pSrc, Qor32s len, Qor32s linbits,
                                          Qor8u** ppBitStream, Qor32s* pBitOffset,
                                          const QorVLCEncodeSpec* pSpec);
/** @} */

/**
 * @name Counting
 * @{
 */
/**
 * Counts the bits that the encoder writes for a block.
 *
 * @param[in]  pSrc       len values, as the encoder takes them
 * @param[in]  len        number of values; its lowest bit is dropped
 * @param[in]  linbits    MP3 form: width of an escape in bits, 0 to 31, not checked
 * @param[out] pBitCount  the number of bits, 0 for a block without pairs
 * @param[in]  pSpec      the code book
 * @retval qorStsNullPtrErr       any pointer null
 * @retval qorStsContextMatchErr  the id of the record is not 0x434D415F
 * @source AAC form ISO/IEC 13818-7, clause 9.2.2; MP3 form ISO 11172-3, clause 2.4.2.7
 */
QorStatus qorsVLCCountEscBits_AAC_16s32s(const Qor16s* pSrc, Qor32s len, Qor32s* pBitCount,
                                         const QorVLCEncodeSpec* pSpec);
QorStatus qorsVLCCountEscBits_MP3_16s32s(const Qor16s* pSrc, Qor32s len, Qor32s linbits,
                                         Qor32s* pBitCount, const QorVLCEncodeSpec* pSpec);
/** @} */

/** @} */

/* ================================================================ DTS, TwinVQ, FIR ========== */

/* --- DTS synthesis --- */

/**
 * @addtogroup dts
 * @{
 */

/*
 * The 32-band interpolation filter bank of the DTS coherent acoustics core (ETSI TS 102 114). A
 * call turns one sample of each sub-band into 32 samples; a stream is filtered slot by slot with
 * one context per channel.
 *
 * A context is a block of the size that GetSize reports. It is aligned up to a multiple of 16
 * bytes wherever it is used, so that the address of the block and the aligned one mean the same.
 * It belongs to one thread at a time and its bytes cannot be moved.
 */

/**
 * Tells the size of a context.
 *
 * @param[out] pSize  bytes, room for the alignment included
 * @retval qorStsNullPtrErr  pSize null
 * @source this library's own context life cycle
 */
QorStatus qorsSynthesisFilterGetSize_DTS_32f(Qor32s* pSize);

/**
 * Makes a context in the caller's block, with a history of zeros. On the block of a context it
 * starts a stream anew, but not on one that qorsSynthesisFilterInitAlloc_DTS_32f() made: Free would
 * not release it any more.
 *
 * @param[out] pSpec  a block of the size that qorsSynthesisFilterGetSize_DTS_32f() reports, at any
 *                    address
 * @retval qorStsNullPtrErr  pSpec null
 * @source this library's own context life cycle
 */
QorStatus qorsSynthesisFilterInit_DTS_32f(QorsFilterSpec_DTS_32f* pSpec);

/**
 * Makes a context in a block of its own, with a history of zeros. The allocation has to succeed: it
 * is not tested.
 *
 * @param[out] ppSpec  the context, for qorsSynthesisFilterFree_DTS_32f() to release
 * @retval qorStsNullPtrErr  ppSpec null
 * @source this library's own context life cycle
 */
QorStatus qorsSynthesisFilterInitAlloc_DTS_32f(QorsFilterSpec_DTS_32f** ppSpec);

/**
 * Releases what qorsSynthesisFilterInitAlloc_DTS_32f() allocated. A context made by
 * qorsSynthesisFilterInit_DTS_32f() stays as it is and can be used on.
 *
 * @param[in] pSpec  the context
 * @retval qorStsNullPtrErr       pSpec null
 * @retval qorStsContextMatchErr  not a context of this family
 * @source this library's own context life cycle
 */
QorStatus qorsSynthesisFilterFree_DTS_32f(QorsFilterSpec_DTS_32f* pSpec);

/**
 * Filters one slot: one sample of each sub-band becomes 32 samples.
 *
 * Sub-band k answers a single 1 with the samples
 * @code{.unparsed}
 * p(n) (-1)^floor(n / 64) cos((2k + 1)(2n + 1) pi/128 + c) / 4,   n from 0 to 511
 * @endcode
 * with c = pi/4 for even k and -pi/4 for odd k and one of the standard's two lists p of 512
 * coefficients. Nothing limits or scales the samples. A failure leaves pDst and the history as they
 * were.
 *
 * @param[in]     pSrc     32 sub-band samples, the lowest sub-band first, in any scale
 * @param[out]    pDst     32 samples in the same scale, oldest first; it may be pSrc
 * @param[in]     perfect  1: the coefficients that the stream calls perfect (in the order of their
 *                         table, which does not reconstruct: docs/other-primitives.md), 0: those
 *                         for non-perfect reconstruction; calls may alternate
 * @param[in,out] pSpec    the channel's context
 * @retval qorStsNullPtrErr       any pointer null
 * @retval qorStsBadArgErr        perfect not 0 or 1
 * @retval qorStsContextMatchErr  not a context of this family
 * @source ETSI TS 102 114, the interpolation filter bank and its two lists of coefficients
 */
QorStatus qorsSynthesisFilter_DTS_32f(const Qor32f* pSrc, Qor32f* pDst, Qor32s perfect,
                                      QorsFilterSpec_DTS_32f* pSpec);

/** @} */

/* --- TwinVQ vector quantization --- */

/**
 * @addtogroup tvq
 * @{
 */

/*
 * The weighted search of the conjugate-structure vector quantizer of TwinVQ (ISO/IEC 14496-3). A
 * signal is cut into nDiv divisions of pLength[d] values; each is approximated by the mean of one
 * vector of each of two code books, possibly negated. A division uses the first pLength[d] values
 * of the vectors. The error of a vector c against the values x with the weights w is the sum of
 * w[k] (c[k] - x[k])^2, taken in rising k in single precision.
 *
 * The searches tell signs as 0 for a vector as it stands and 1 for its negation; the reconstruction
 * takes factors. Arrays whose names begin with pp have a pointer for each book. A state holds the
 * scratch of a search and serves one search at a time.
 */

/**
 * Tells the size of the memory for a code book.
 *
 * @param[in]  len         values of a vector, 1 or more
 * @param[in]  numVectors  vectors, 1 or more
 * @param[out] pSize       bytes
 * @retval qorStsNullPtrErr  pSize null
 * @retval qorStsSizeErr     len or numVectors below 1; a size that 32 bits do not hold
 * @source this library's own context life cycle
 */
QorStatus qorsVQCodeBookGetSize_32f(Qor32s len, Qor32s numVectors, Qor32s* pSize);

/**
 * Makes a state from a code book in the caller's memory.
 *
 * @param[in]  pCodeBook   numVectors vectors of len values, one after the other; copied
 * @param[out] ppState     the state: pMem itself
 * @param[in]  len         values of a vector, 1 or more
 * @param[in]  numVectors  vectors, 1 or more
 * @param[out] pMem        memory of the size that qorsVQCodeBookGetSize_32f() reports, at any
 *                         address; its bytes cannot be moved
 * @retval qorStsNullPtrErr  any pointer null
 * @retval qorStsSizeErr     len or numVectors below 1
 * @source this library's own context life cycle
 */
QorStatus qorsVQCodeBookInit_32f(const Qor32f* pCodeBook, QorsVQCodeBookState_32f** ppState,
                                 Qor32s len, Qor32s numVectors, Qor8u* pMem);

/**
 * Makes a state from a code book in memory of its own.
 *
 * @param[in]  pCodeBook   numVectors vectors of len values, one after the other; copied
 * @param[out] ppState     the state, for qorsVQCodeBookFree_32f() to release
 * @param[in]  len         values of a vector, 1 or more
 * @param[in]  numVectors  vectors, 1 or more
 * @retval qorStsNullPtrErr   pCodeBook or ppState null
 * @retval qorStsSizeErr      len or numVectors below 1; a size that 32 bits do not hold
 * @retval qorStsMemAllocErr  the allocation failed
 * @source this library's own context life cycle
 */
QorStatus qorsVQCodeBookInitAlloc_32f(const Qor32f* pCodeBook, QorsVQCodeBookState_32f** ppState,
                                      Qor32s len, Qor32s numVectors);

/**
 * Ends a state and releases what qorsVQCodeBookInitAlloc_32f() allocated.
 *
 * @param[in] pState  the state; that it is one is not tested
 * @retval qorStsNullPtrErr  pState null
 * @source this library's own context life cycle
 */
QorStatus qorsVQCodeBookFree_32f(QorsVQCodeBookState_32f* pState);

/**
 * Finds the nCand best vectors of one book for each division, the nearest first.
 *
 * Of vectors at the same distance the later one stands in front, but one as far as the last of
 * nCand does not come in. A place that no vector nearer than 1e38 takes has index 0. When nCand is
 * not below numVectors, all vectors are candidates in their own order; entries from numVectors on
 * count up and have sign 0.
 *
 * @param[in]     pSrc       the values, division after division
 * @param[in]     pWeight    a weight for each value
 * @param[in]     nDiv       divisions; below 1 does nothing and is no error
 * @param[in]     pLength    nDiv lengths, each up to the length of the vectors; below 1 is empty
 * @param[out]    pIndex     nCand entries per division: the vectors, from 0
 * @param[out]    pSign      nCand entries per division: 0, or 1 for the negated vector
 * @param[in]     nCand      candidates; below 1 does nothing and is no error
 * @param[in]     pPolarity  nDiv entries: 1 allows negated vectors, anything else forbids them
 * @param[in,out] pCodeBook  the book's state, its scratch in use
 * @retval qorStsNullPtrErr  any pointer null
 * @source ISO/IEC 14496-3 (TwinVQ), an encoder's search; the order of equals is this library's own
 */
QorStatus qorsVQPreliminarySelect_32f(const Qor32f* pSrc, const Qor32f* pWeight, Qor32s nDiv,
                                      const Qor32s* pLength, Qor32s* pIndex, Qor32s* pSign,
                                      Qor32s nCand, const Qor32s* pPolarity,
                                      QorsVQCodeBookState_32f* pCodeBook);

/**
 * Finds the best pair of candidates of two books for each division: the one whose sum, divided by
 * nStage, is nearest.
 *
 * The first of equal pairs wins, with the candidates of book 1 running inside those of book 0.
 * Indices outside the book are passed over; when no pair has an error below 1e38, indices and signs
 * are 0.
 *
 * @param[in]     pSrc        the values, division after division
 * @param[in]     pWeight     a weight for each value
 * @param[in]     pLength     nDiv lengths, each up to the length of the vectors; below 1 is empty
 * @param[in]     nDiv        divisions; below 1 does nothing and is no error
 * @param[in]     nCand       candidates of each book; below 1 does nothing and is no error
 * @param[in]     ppIndex     candidates of the two books, nCand per division
 * @param[in]     ppSign      their signs, 0 or 1
 * @param[out]    ppIndexOut  the pair: for each book an entry per division
 * @param[out]    ppSignOut   its signs likewise
 * @param[in,out] ppCodeBook  the states of the two books, their scratch in use
 * @param[in]     nStage      2, what the sum is divided by
 * @retval qorStsNullPtrErr  any pointer null; the pointers in the arrays are not tested
 * @source ISO/IEC 14496-3 (TwinVQ), an encoder's search; the order of equals is this library's own
 */
QorStatus qorsVQMainSelect_32f(const Qor32f* pSrc, const Qor32f* pWeight, const Qor32s* pLength,
                               Qor32s nDiv, Qor32s nCand, const Qor32s* const* ppIndex,
                               const Qor32s* const* ppSign, Qor32s* const* ppIndexOut,
                               Qor32s* const* ppSignOut, QorsVQCodeBookState_32f* const* ppCodeBook,
                               Qor32s nStage);

/**
 * Finds the best pair of vectors of two books for each division, with both searches in one call.
 *
 * The second search takes a form of the error that does not read the values again: its rounding
 * differs from that of qorsVQMainSelect_32f(), so that of pairs at nearly the same distance another
 * one may win. When no pair has an error below 1e38, indices and signs are 0.
 *
 * @param[in]     pSrc        the values, division after division
 * @param[in]     pWeight     a weight for each value
 * @param[in]     nDiv        divisions; below 1 does nothing and is no error
 * @param[in]     pLength     nDiv lengths, each up to the length of the vectors; below 1 is empty
 * @param[in]     nCand       candidates of each book; below 1 does nothing and is no error
 * @param[in]     ppPolarity  for each book nDiv entries: 1 allows negated vectors, anything else
 *                            forbids them
 * @param[out]    ppIndexOut  the pair: for each book an entry per division
 * @param[out]    ppSignOut   its signs likewise, 0 or 1
 * @param[in,out] ppCodeBook  two different states: each keeps the candidates of its book
 * @param[in]     nStage      2, the number of books
 * @retval qorStsNullPtrErr  any pointer null; the pointers in the arrays are not tested
 * @source ISO/IEC 14496-3 (TwinVQ), an encoder's search; the order of equals is this library's own
 */
QorStatus qorsVQIndexSelect_32f(const Qor32f* pSrc, const Qor32f* pWeight, Qor32s nDiv,
                                const Qor32s* pLength, Qor32s nCand,
                                const Qor32s* const* ppPolarity, Qor32s* const* ppIndexOut,
                                Qor32s* const* ppSignOut,
                                QorsVQCodeBookState_32f* const* ppCodeBook, Qor32s nStage);

/**
 * Rebuilds a signal from the vectors chosen: pDst becomes the sum over the books s of
 * ppSign[s][d] times vector ppIndex[s][d], over nStage, division after division.
 *
 * @param[in]  ppIndex     for each book nDiv vectors, from 0 to numVectors - 1, not checked
 * @param[in]  ppSign      for each book nDiv factors, 1 and -1 (a sign s of the searches is 1 - 2
 *                         s)
 * @param[in]  pLength     nDiv lengths, each up to the length of the vectors; below 1 is empty
 * @param[in]  nDiv        divisions; below 1 does nothing and is no error
 * @param[in]  nStage      number of books, 1 or more, not checked
 * @param[out] pDst        the values, division after division
 * @param[in]  ppCodeBook  the states of the books
 * @retval qorStsNullPtrErr  any pointer null; the pointers in the arrays are not tested
 * @source ISO/IEC 14496-3 (TwinVQ)
 */
QorStatus qorsVQReconstruction_32f(const Qor32s* const* ppIndex, const Qor32s* const* ppSign,
                                   const Qor32s* pLength, Qor32s nDiv, Qor32s nStage, Qor32f* pDst,
                                   QorsVQCodeBookState_32f* const* ppCodeBook);

/** @} */

/* --- FIR block filter --- */

/**
 * @addtogroup fir
 * @{
 */

/*
 * A filter along time over blocks: every position of a block is filtered for itself over the last
 * tapsLen blocks, with the same taps. It smooths a sequence of frames.
 */

/**
 * Makes a filter. The blocks before the first one are zeros.
 *
 * @param[out] ppState   the filter, for qorsFIRBlockFree_32f() to release
 * @param[in]  tapsLen   number of taps and of blocks kept, 1 to 32767
 * @param[in]  blockLen  values of a block, 1 to 32764
 * @retval qorStsNullPtrErr   ppState null
 * @retval qorStsFirLenErr    tapsLen outside 1 to 32767; blockLen outside 1 to 32764
 * @retval qorStsMemAllocErr  an allocation failed, or the blocks take 2^31 bytes and more; nothing
 *                            stays allocated
 * @source this library's own context life cycle
 */
QorStatus qorsFIRBlockInitAlloc_32f(QorsFIRBlockState_32f** ppState, Qor32s tapsLen,
                                    Qor32s blockLen);

/**
 * Releases a filter. Its id is not cleared: the filter must not be used or released again.
 *
 * @param[in] pState  the filter
 * @retval qorStsNullPtrErr       pState null
 * @retval qorStsContextMatchErr  not a filter of this kind
 * @source this library's own context life cycle
 */
QorStatus qorsFIRBlockFree_32f(QorsFIRBlockState_32f* pState);

/**
 * Filters one block: pDst[i] is the sum over k of pTaps[k] times value i of the block of k calls
 * before.
 *
 * The sum is in single precision: the newest block's product first, then the others from the oldest
 * on.
 *
 * @param[in]     pSrc    blockLen values
 * @param[out]    pDst    blockLen values; it may be pSrc
 * @param[in,out] pState  the filter
 * @param[in]     pTaps   tapsLen taps, that of the newest block first; they may change from call to
 *                        call
 * @retval qorStsNullPtrErr        any pointer null
 * @retval qorStsContextMatchErr   not a filter of this kind
 * @retval qorStsFirLenErr         a damaged state: blockLen or tapsLen below 1; the row of the
 *                                 newest block outside 0 to tapsLen - 1
 * @retval qorStsAlignmentWarn     pSrc, pDst or pTaps off a 16-byte boundary
 * @source the sum as above
 */
QorStatus qorsFIRBlockOne_32f(const Qor32f* pSrc, Qor32f* pDst, QorsFIRBlockState_32f* pState,
                              const Qor32f* pTaps);

/** @} */

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif

#endif /* QORAC_H */
