// States of the live view.
#pragma once

// The names are also what the log shows.
enum CamStatus {
    CAM_STATUS_STOP = 0,                 // camera paused: a menu or dialog is open
    CAM_STATUS_DETECT = 1,               // waiting for the camera to appear and stream
    CAM_STATUS_VIEW = 2,                 // live view
    CAM_STATUS_REC_WAIT = 3,             // capture key pressed: decide between video and still
    CAM_STATUS_REC_VIDEO_WAIT = 4,       // about to start a video
    CAM_STATUS_REC_VIDEO = 5,            // recording video
    CAM_STATUS_REC_VIDEO_STOP_WAIT = 6,  // capture key pressed while recording
    CAM_STATUS_REC_IMAGE_WAIT = 7,       // about to take a still
    CAM_STATUS_REC_IMAGE = 8,            // taking a still
    CAM_STATUS_USBDevice_Connected = 9,  // has a name only; never entered
};

// The state's name, "Unknown state" for any other number. Thread-safe.
const char* GetStateString(CamStatus status);
