#include "app/cam_status.h"

const char* GetStateString(CamStatus status) {
    switch (status) {
        case CAM_STATUS_STOP:
            return "CAM_STATUS_STOP";
        case CAM_STATUS_DETECT:
            return "CAM_STATUS_DETECT";
        case CAM_STATUS_VIEW:
            return "CAM_STATUS_VIEW";
        case CAM_STATUS_REC_WAIT:
            return "CAM_STATUS_REC_WAIT";
        case CAM_STATUS_REC_VIDEO_WAIT:
            return "CAM_STATUS_REC_VIDEO_WAIT";
        case CAM_STATUS_REC_VIDEO:
            return "CAM_STATUS_REC_VIDEO";
        case CAM_STATUS_REC_VIDEO_STOP_WAIT:
            return "CAM_STATUS_REC_VIDEO_STOP_WAIT";
        case CAM_STATUS_REC_IMAGE_WAIT:
            return "CAM_STATUS_REC_IMAGE_WAIT";
        case CAM_STATUS_REC_IMAGE:
            return "CAM_STATUS_REC_IMAGE";
        case CAM_STATUS_USBDevice_Connected:
            return "CAM_STATUS_USBDevice_Connected";
    }
    return "Unknown state";
}
