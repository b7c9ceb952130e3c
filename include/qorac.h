/*
 * qorac: audio-coding primitives for Linux on x86-64.
 *
 * The library is not a codec. It gives the steps of MP3, AAC, SBR, parametric stereo, TwinVQ and
 * DTS decoders and encoders that are heavy, standard-defined or numerically delicate; the caller
 * writes the control flow and calls them frame by frame.
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
 *    or an output buffer. Transform specs are read-only in use and can be shared.
 *  - Qn means a signed integer that holds value * 2^n.
 *
 * Bit cursor. `ppBitStream` points to the pointer to the current byte and `pOffset` to the number
 * of bits of that byte that are already used, 0 to 7; bits are taken most significant first. A read
 * may touch up to three bytes behind the last bit that it uses (the VLC coders: two 32-bit words),
 * a write one byte. No function knows the end of the buffer: the caller leaves that room.
 *
 * Names. A suffix `_I` is in place, `_Sfs` takes a scale factor: the exact result times
 * 2^-scaleFactor, rounded to nearest with ties to even and saturated to the output type. `1u`
 * means a bit stream, `_D2L` an array of row pointers.
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

/* ---------------------------------------------------------------- statuses ------------------ */

typedef Qor32s QorStatus;

enum {
    /* general */
    qorStsNoErr = 0,              /* success */
    qorStsAlignmentWarn = 2,      /* success; a data pointer was off a 16-byte boundary */
    qorStsErr = -2,               /* failure of the data itself, e.g. a bit budget overrun */
    qorStsBadArgErr = -5,         /* an argument outside its allowed range */
    qorStsSizeErr = -6,           /* a length or size below its minimum */
    qorStsNullPtrErr = -8,        /* a required pointer is null */
    qorStsMemAllocErr = -9,       /* an allocation failed */
    qorStsStepErr = -14,          /* a step or group size below 1 */
    qorStsFftOrderErr = -15,      /* transform order out of range */
    qorStsFftFlagErr = -16,       /* transform normalisation flag bad */
    qorStsContextMatchErr = -17,  /* the context's id is not the one that the function expects */
    qorStsFirLenErr = -26,        /* filter length or index bad */
    qorStsShiftErr = -32,         /* a shift count below zero */
    qorStsNumChannelsErr = -53,   /* number of channels below 1 */

    /* VLC escape blocks */
    qorStsVlcEscapeOverflowErr = -127, /* an AAC escape with more than 8 leading ones */
    qorStsVlcBitOffsetErr = -193,      /* bit offset outside 0 to 7 */

    /* AAC */
    qorStsAacPcmModeErr = -134,      /* pcmMode not 1 or 2 */
    qorStsAacWinShapeErr = -135,     /* a window shape not 0 or 1 */
    qorStsAacObjectTypeErr = -136,   /* audioObjectType outside 0 to 16 */
    qorStsAacScaleFlagErr = -137,    /* scaleFlag not 0 or 1 */
    qorStsAacMonoLayerErr = -138,    /* monoLayerFlag not 0 or 1 */
    qorStsAacStereoLayerErr = -139,  /* thisLayerStereo not 0 or 1 */
    qorStsAacMonoStereoErr = -140,   /* monoStereoFlag not 0 or 1 */
    qorStsAacChannelsErr = -141,     /* channelNum not 1 or 2 */
    qorStsAacMsMaskErr = -142,       /* ms_mask_present argument not 1 or 2 */
    qorStsAacCommonWindowErr = -143, /* commonWin not 0 or 1 */
    qorStsAacWinSeqErr = -144,       /* window_sequence outside 0 to 3 */
    qorStsAacWinGrpErr = -145,       /* numWinGrp does not fit winLen */
    qorStsAacWinLenErr = -146,       /* winLen not 128 or 1024 (or, where only short fits, 128) */
    qorStsAacSampRateIdxErr = -147,  /* sampling index outside its range */
    qorStsAacBitOffsetErr = -149,    /* bit offset outside 0 to 7 */
    qorStsAacTnsProfileErr = -151,   /* profile of the TNS encoder not 1 */
    qorStsAacTnsDirectionErr = -152, /* a TNS direction not 0 or 1 */
    qorStsAacTnsCoefErr = -153,      /* a TNS coefficient outside -8 to 7 */
    qorStsAacTnsCoefResErr = -154,   /* a TNS coef_res not 3 or 4 */
    qorStsAacTnsOrderErr = -155,     /* a TNS order too large for the window */
    qorStsAacTnsLengthErr = -156,    /* a TNS region negative or longer than the bands */
    qorStsAacTnsNumFiltErr = -157,   /* a TNS filter count negative or too large */
    qorStsAacSectionErr = -158,      /* the sections of a group do not end at max_sfb */
    qorStsAacGainControlErr = -159,  /* gain_control_data_present is set */
    qorStsAacPulseErr = -160,        /* pulse data in a short block or out of range */
    qorStsAacPredSfbErr = -161,      /* predSfbMax out of range, or not 0 in the LC decoder */
    qorStsAacMaxSfbErr = -162,       /* max_sfb above the band count */
    qorStsAacQuantMaxErr = -163,     /* an escape longer than 8 ones or a magnitude above 8191 */
    qorStsAacScaleFactorErr = -164,  /* a running scale factor left 0 to 255 */
    qorStsAacCodebookErr = -166,     /* code book 12, or one that the element does not allow */
    qorStsAacPceCountErr = -167,     /* more program configuration elements than room */

    /* MP3 */
    qorStsMp3SideInfoErr = -170,   /* a field of the side information is out of range */
    qorStsMp3FrameHeaderErr = -171 /* a field of the frame header is out of range */
};

/* Normalisation of the transforms: where the factor stands. */
enum {
    qorFftNormFwd = 1,  /* 1/N in the forward transform */
    qorFftNormInv = 2,  /* 1/N in the inverse transform */
    qorFftNormSqrt = 4, /* 1/sqrt(N) in both */
    qorFftNormNone = 8  /* none */
};

/* ---------------------------------------------------------------- version ------------------- */

typedef struct {
    Qor32s major;
    Qor32s minor;
    Qor32s majorBuild;
    Qor32s build;
    char targetCpu[4]; /* processor variant, zero-padded */
    const char* name;
    const char* version;
    const char* buildDate;
} QorLibraryVersion;

/* Returns the library's one constant version record; it is never null and never released. */
const QorLibraryVersion* qoracGetLibVersion(void);

/* ================================================================ records =================== */

/* ---------------------------------------------------------------- MP3 ----------------------- */

/* Fields of an MPEG audio frame header (ISO 11172-3 clause 2.4.1.3), in stream order. */
typedef struct {
    Qor32s id;                 /* 1 MPEG-1, 0 low sampling frequencies (ISO 13818-3) */
    Qor32s layer;              /* stream code of the layer; 1 is Layer III */
    Qor32s protection_bit;     /* 0: a 16-bit CRC word follows the header */
    Qor32s bitrate_index;      /* 4 bits */
    Qor32s sampling_frequency; /* 2 bits: 44100 48000 32000 Hz (id 1), 22050 24000 16000 (id 0) */
    Qor32s padding_bit;
    Qor32s private_bit;
    Qor32s mode;           /* 0 stereo, 1 joint stereo, 2 dual channel, 3 single channel */
    Qor32s mode_extension; /* bit 1 mid/side, bit 0 intensity */
    Qor32s copyright;
    Qor32s original;
    Qor32s emphasis; /* 2 bits */
    Qor32s CRCWord;  /* in use only when protection_bit is 0 */
} QorMP3FrameHeader;

/*
 * Side information of one granule and channel (ISO 11172-3 clause 2.4.1.7). Arrays of these
 * records are in stream order: index granule * channels + channel, with two granules for id 1 and
 * one for id 0, one channel for mode 3 and two otherwise.
 */
typedef struct {
    Qor32s part2_3_length; /* bits of scale factors and Huffman data */
    Qor32s big_values;     /* pairs in the big-values regions */
    Qor32s global_gain;
    Qor32s scalefac_compress; /* 4 bits (id 1) or 9 bits (id 0) */
    Qor32s window_switching_flag;
    Qor32s block_type;       /* 0 long, 1 start, 2 short, 3 stop */
    Qor32s mixed_block_flag; /* 1: the two lowest sub-bands of a short block are long */
    Qor32s table_select[3];
    Qor32s subblock_gain[3];
    Qor32s region0_count;
    Qor32s region1_count;
    Qor32s preflag;
    Qor32s scalefac_scale;
    Qor32s count1table_select;
} QorMP3SideInfo;

/*
 * Memory of the psychoacoustic model for one analysis channel (0 left, 1 right, 2 mid, 3 side).
 * An array of four is cleared by the caller before the first frame and carried from frame to frame.
 */
typedef struct {
    Qor64s nbPrev1[63];     /* long-block threshold per partition, one granule back */
    Qor64s nbPrev2[63];     /* the same two granules back */
    Qor64s nbShortPrev[42]; /* short-block threshold of the last window per partition */
    Qor32s spec1[12];       /* re, im of long-spectrum lines 0 to 5, one granule back */
    Qor32s spec2[12];       /* the same two granules back */
    Qor32s mag1[6];         /* 32 * magnitude of those lines, one granule back */
    Qor32s mag2[6];         /* the same two granules back */
    Qor32s pe;              /* perceptual entropy of the last granule analysed */
    Qor32s blockType;       /* records 0 and 1: block type carried on: 0, 2 or 3 */
    Qor32s ratioLong[36];   /* long-block ratios of the last granule analysed */
    Qor32s ratioShort[36];  /* short-block ratios of the same granule */
} QorMP3PsychoState;

/* Result of the psychoacoustic model, one record per granule and channel. */
typedef struct {
    Qor32s ratio[36]; /* threshold / energy, Q31; long: band 0 to 20, short: sfb * 3 + window */
    Qor32s pe;        /* perceptual entropy, common logarithm */
} QorMP3PsychoInfo;

/* The encoder's bit reservoir. */
typedef struct {
    Qor32s bitsAvail; /* bits now in the reservoir */
    Qor32s maxBits;   /* its limit */
} QorMP3BitReservoir;

/* ---------------------------------------------------------------- AAC ----------------------- */

/* adif_header of ISO/IEC 13818-7. */
typedef struct {
    Qor32s adif_id;
    Qor32s copyright_id_present;
    Qor32s original_copy;
    Qor32s home;
    Qor32s bitstream_type;              /* 0 constant rate, 1 variable rate */
    Qor32s bitrate;                     /* 23 bits */
    Qor32s num_program_config_elements; /* the count itself, 1 to 16 */
    Qor32s adif_buffer_fullness[16];    /* 20 bits each; only for bitstream_type 0 */
    Qor8u copyright_id[9];              /* only when copyright_id_present is set */
} QorAACAdifHeader;

/* adts_fixed_header, adts_variable_header and the CRC word of ISO/IEC 13818-7. */
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
    Qor32s adtsReserved; /* the caller's: no function touches it */
    Qor32s copyright_identification_bit;
    Qor32s copyright_identification_start;
    Qor32s aac_frame_length;                   /* bytes, header included */
    Qor32s adts_buffer_fullness;               /* 11 bits */
    Qor32s number_of_raw_data_blocks_in_frame; /* the number of blocks, 1 to 4 */
    Qor32s crc_check;                          /* in use only when protection_absent is 0 */
} QorAACAdtsHeader;

/* program_config_element of ISO/IEC 13818-7. */
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

/* ics_info of ISO/IEC 13818-7. */
typedef struct {
    Qor32s ics_reserved_bit;
    Qor32s window_sequence; /* 0 long, 1 long-start, 2 eight short, 3 long-stop */
    Qor32s window_shape;    /* 0 sine, 1 Kaiser-Bessel derived */
    Qor32s max_sfb;
    Qor32s scale_factor_grouping; /* 7 bits; short blocks only */
    Qor32s predictor_data_present;
    Qor32s predictor_reset;
    Qor32s predictor_reset_group_number;
    Qor8u prediction_used[41];
    Qor32s num_window_groups;
    Qor32s window_group_length[8];
} QorAACIcsInfo;

/* The part of channel_pair_element that the two channels share. */
typedef struct {
    Qor32s common_window;
    Qor32s ms_mask_present;
    Qor8u ms_used[8][60]; /* one row per window group, one byte per band */
} QorAACChanPairElt;

/*
 * TNS data of one channel. `length` and `order` are packed filter by filter over all windows,
 * `direction` holds an entry only for each filter of non-zero order, `coef` holds `order`
 * sign-extended entries for each such filter, all in stream order.
 */
typedef struct {
    Qor32s tns_data_present;
    Qor32s n_filt[8];
    Qor32s coef_res[8]; /* the stream's bit plus 3: 3 or 4 */
    Qor32s length[8];
    Qor32s order[8];
    Qor32s direction[16];
    Qor8s coef[60];
} QorAACTnsInfo;

/* Long-term prediction data of one channel (ISO/IEC 14496-3 ltp_data). */
typedef struct {
    Qor32s ltp_data_present;
    Qor32s ltp_lag;           /* 11 bits */
    Qor32s ltp_coef;          /* the coefficient in Q14, not its index */
    Qor32s ltp_long_used[41]; /* [0] repeats ltp_data_present, [sfb + 1] is the flag of band sfb */
    Qor32s reserved[20];
    Qor32s ltp_short_used[8];
    Qor32s ltp_short_lag_present[8];
    Qor32s ltp_short_lag[8];
} QorAACLtpInfo;

/* tvq_scalable_main_header / aac_scalable_main_header; also carries LTP for the MPEG-4 parsers. */
typedef struct {
    Qor32s window_sequence;
    Qor32s window_shape;
    Qor32s max_sfb;
    Qor32s scale_factor_grouping;
    Qor32s num_window_groups;
    Qor32s window_group_length[8];
    Qor32s ms_mask_present;
    Qor8u (*pMsUsed)[60]; /* the caller's rows, one per window group */
    QorAACTnsInfo tns[2];
    QorAACLtpInfo ltp[2];
} QorAACMainHeader;

/* aac_scalable_extension_header. */
typedef struct {
    Qor32s ms_mask_present;
    Qor32s max_sfb;
    Qor8u (*pMsUsed)[60]; /* the caller's rows, one per window group */
    QorAACTnsInfo tns[2];
    Qor32s diff_control_lr[2][51];
} QorAACExtHeader;

/* What the noiseless decoders keep of one channel. */
typedef struct {
    Qor32s tag;               /* the caller's: no function touches it */
    Qor32s id;                /* the caller's */
    Qor32s samplingRateIndex; /* in */
    Qor32s predSfbMax;        /* in */
    Qor32s reserved;          /* the caller's */
    Qor32s winLen;            /* out: 128 or 1024 */
    Qor32s numWin;            /* out: 8 or 1 */
    Qor32s numSwb;            /* out */
    Qor32s global_gain;       /* out */
    Qor32s pulse_data_present;
    Qor32s tns_data_present;
    Qor32s gain_control_data_present;
    QorAACIcsInfo* pIcsInfo; /* in */
    void* pUser;             /* the caller's */
    Qor8u sect_cb[120];
    Qor8u sect_end[120];
    Qor32s num_sec[8];
    Qor32s n_filt[8];
    Qor32s coef_res[8];
    Qor32s length[8];
    Qor32s order[8];
    Qor32s direction[8];
} QorAACChanInfo;

/* ---------------------------------------------------------------- VLC ----------------------- */

/*
 * Code specs that the caller brings. The functions align the pointer that they get up to the next
 * multiple of 32 bytes and read the record there.
 */
typedef struct {
    Qor32u id; /* 0x434D4160 */
    Qor32s reserved1;
    Qor32s maxBits; /* bits peeked for a lookup */
    Qor32s reserved3;
    const void* pTable; /* levels of 16-bit or 32-bit elements */
    Qor32s elementBits; /* 32: 32-bit elements, any other value: 16-bit elements */
    Qor32s lengthBits;  /* width of the length field of a leaf */
    Qor32s reserved8;
    Qor32s tupleElementBits; /* width of one value of a tuple leaf */
    Qor32s tupleBits;        /* width of the whole value field of a tuple leaf */
    Qor32s reserved11;
} QorVLCDecodeSpec;

typedef struct {
    const Qor32u* pTable; /* 2^tableBits code lengths, then 2^tableBits code words */
    Qor32s bias;
    Qor32s tableBits;
    Qor32s reserved4;
    Qor32u id; /* 0x434D415F */
} QorVLCEncodeSpec;

/* ---------------------------------------------------------------- contexts ------------------ */

typedef struct QorsFilterSpec_PQMF_MP3_32f QorsFilterSpec_PQMF_MP3_32f;
typedef struct QorsFDPState_32f QorsFDPState_32f;
typedef struct QorsFilterSpec_SBR_32s QorsFilterSpec_SBR_32s;
typedef struct QorsFilterSpec_SBR_32f QorsFilterSpec_SBR_32f;
typedef struct QorsFilterEncSpec_SBR_32f QorsFilterEncSpec_SBR_32f;
typedef struct QorsMDCTFwdSpec_32f QorsMDCTFwdSpec_32f;
typedef struct QorsMDCTInvSpec_32f QorsMDCTInvSpec_32f;
typedef struct QorsMDCTFwdSpec_16s QorsMDCTFwdSpec_16s;
typedef struct QorsFilterSpec_DTS_32f QorsFilterSpec_DTS_32f;
typedef struct QorsVQCodeBookState_32f QorsVQCodeBookState_32f;
typedef struct QorsFIRBlockState_32f QorsFIRBlockState_32f;

/* ================================================================ sample formats ============ */

/* ================================================================ MP3 decoding ============== */

/* ================================================================ MP3 float filter banks ==== */

/* ================================================================ AAC ======================= */

/* ================================================================ AAC prediction ============ */

/* ================================================================ MP3 encoding ============== */

/* ================================================================ SBR, parametric stereo ==== */

/* ================================================================ general MDCT ============== */

/* ================================================================ VLC escape blocks ========= */

/* ================================================================ DTS, TwinVQ, FIR ========== */

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif

#endif /* QORAC_H */
