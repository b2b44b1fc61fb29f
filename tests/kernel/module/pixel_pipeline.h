/* SPDX-License-Identifier: GPL-2.0 */
/* The pixel pipeline as a V4L2 output device. */
#pragma once

struct dentry;
struct device;

/* Registers the video node; what it was told, and the picture last queued, are in `debug_dir` as "pxp" and "picture".
 */
int pixel_pipeline_add(struct device* parent, struct dentry* debug_dir);
