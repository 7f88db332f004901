// Feedback: the platform's sounds for user actions.
#ifndef FEEDBACK_H
#define FEEDBACK_H

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
    FEEDBACK_ERROR_NONE = 0,
    FEEDBACK_ERROR_OPERATION_FAILED = -1,
    FEEDBACK_ERROR_INVALID_PARAMETER = -22,
    FEEDBACK_ERROR_NOT_INITIALIZED = -107,  // no connection to the sound service
} feedback_error_e;

typedef enum {
    FEEDBACK_PATTERN_NONE = -1,
    FEEDBACK_PATTERN_TAP = 0,
    FEEDBACK_PATTERN_SIP = 1,
    FEEDBACK_PATTERN_POWEROFF = 37,
    FEEDBACK_PATTERN_MOVE_NAVIGATION = 65,
    FEEDBACK_PATTERN_MOVE_PANEL = 66,
    FEEDBACK_PATTERN_MOVE_BACK = 67,
    FEEDBACK_PATTERN_SELECT = 69,
    FEEDBACK_PATTERN_CANCEL = 70,
    FEEDBACK_PATTERN_SI_POP = 79,
    FEEDBACK_PATTERN_SI_VOICE_SUCCESS = 81,
    FEEDBACK_PATTERN_SPORTS_MODE_ON = 82,
    FEEDBACK_PATTERN_SPORTS_MODE_OFF = 83,
    FEEDBACK_PATTERN_SIP_BACKSPACE = 84,
    FEEDBACK_PATTERN_BOOTING = 85,
    FEEDBACK_PATTERN_SI_VOICE_FAILURE = 86,
    FEEDBACK_PATTERN_HOME_CLOSE = 89,
    FEEDBACK_PATTERN_HOME_OPEN = 90,
    FEEDBACK_PATTERN_IME_BACKSPACE = 91,
    FEEDBACK_PATTERN_IME_SELECT = 92,
    FEEDBACK_PATTERN_SI_VOICE_REWARD = 93,
    FEEDBACK_PATTERN_NORMAL_NOTI = 94,
    FEEDBACK_PATTERN_PEN_COLOR = 95,
    FEEDBACK_PATTERN_CAPTURE = 96,
    FEEDBACK_PATTERN_TAG = 97,
    FEEDBACK_PATTERN_HOME_CATEGORY_CHANGED = 104,
    FEEDBACK_PATTERN_END = 128,
} feedback_pattern_e;

// Every call between an initialize and its deinitialize may play; calls
// nest, the last deinitialize ends them.
int feedback_initialize(void);
int feedback_play(feedback_pattern_e pattern);
int feedback_deinitialize(void);

#ifdef __cplusplus
}
#endif

#endif
