// SPDX-License-Identifier: GPL-2.0
#include "pixel_pipeline.h"

#include <linux/debugfs.h>
#include <linux/module.h>
#include <linux/seq_file.h>
#include <media/v4l2-device.h>
#include <media/v4l2-ioctl.h>
#include <media/videobuf2-vmalloc.h>

#define MAX_WIDTH 640
#define MAX_HEIGHT 480

enum { ROTATION, OVERLAY, HFLIP, VFLIP, CONTROLS };
static const u32 control_ids[CONTROLS] = {V4L2_CID_PRIVATE_BASE, V4L2_CID_PRIVATE_BASE + 3, V4L2_CID_HFLIP,
                                          V4L2_CID_VFLIP};

// The one pipeline. `lock` is the node's: every call below holds it, debugfs takes it.
static struct {
	struct v4l2_device device;
	struct video_device node;
	struct vb2_queue queue;
	struct mutex lock;
	struct v4l2_pix_format format;
	struct v4l2_window window;
	struct v4l2_rect crop;
	u32 buffer_flags;
	unsigned int output;
	s32 controls[CONTROLS];
	u32 pictures;
	u8 picture[MAX_WIDTH * MAX_HEIGHT * 2];
} pxp;

static int queue_setup(struct vb2_queue *queue, unsigned int *buffers, unsigned int *planes, unsigned int sizes[],
                       struct device *alloc_devices[])
{
	*planes = 1;
	sizes[0] = pxp.format.sizeimage;
	return 0;
}

// The hardware reads a queued picture at the next refresh; here that is at once.
static void buf_queue(struct vb2_buffer *buffer)
{
	memcpy(pxp.picture, vb2_plane_vaddr(buffer, 0), min(vb2_plane_size(buffer, 0), sizeof(pxp.picture)));
	pxp.pictures++;
	vb2_set_plane_payload(buffer, 0, vb2_plane_size(buffer, 0));
	vb2_buffer_done(buffer, VB2_BUF_STATE_DONE);
}

static const struct vb2_ops queue_operations = {
	.queue_setup = queue_setup, .buf_queue = buf_queue, .wait_prepare = vb2_ops_wait_prepare,
	.wait_finish = vb2_ops_wait_finish,
};

static int querycap(struct file *file, void *handle, struct v4l2_capability *capability)
{
	strscpy(capability->driver, "pxp", sizeof(capability->driver));
	strscpy(capability->card, "PxP", sizeof(capability->card));
	return 0;
}

static int get_format(struct file *file, void *handle, struct v4l2_format *format)
{
	format->fmt.pix = pxp.format;
	return 0;
}

// Also while streaming: zooming shrinks the picture that is read from the buffer.
static int set_format(struct file *file, void *handle, struct v4l2_format *format)
{
	struct v4l2_pix_format *pix = &format->fmt.pix;

	pix->width = clamp_t(u32, pix->width, 8, MAX_WIDTH);
	pix->height = clamp_t(u32, pix->height, 8, MAX_HEIGHT);
	pix->pixelformat = V4L2_PIX_FMT_YUV422P;
	pix->field = V4L2_FIELD_NONE;
	pix->bytesperline = pix->width;
	pix->sizeimage = pix->width * pix->height * 2;
	pxp.format = *pix;
	return 0;
}

static int get_window(struct file *file, void *handle, struct v4l2_format *format)
{
	format->fmt.win = pxp.window;
	return 0;
}

static int set_window(struct file *file, void *handle, struct v4l2_format *format)
{
	pxp.window = format->fmt.win;
	return 0;
}

static int get_framebuffer(struct file *file, void *handle, struct v4l2_framebuffer *buffer)
{
	*buffer = (struct v4l2_framebuffer){.flags = pxp.buffer_flags};
	return 0;
}

static int set_framebuffer(struct file *file, void *handle, const struct v4l2_framebuffer *buffer)
{
	pxp.buffer_flags = buffer->flags;
	return 0;
}

static int get_selection(struct file *file, void *handle, struct v4l2_selection *selection)
{
	selection->r = pxp.crop;
	return 0;
}

static int set_selection(struct file *file, void *handle, struct v4l2_selection *selection)
{
	pxp.crop = selection->r;
	return 0;
}

static int enum_output(struct file *file, void *handle, struct v4l2_output *output)
{
	strscpy(output->name, output->index ? "interface alone" : "video", sizeof(output->name));
	return 0;
}

static int get_output(struct file *file, void *handle, unsigned int *output)
{
	*output = pxp.output;
	return 0;
}

static int set_output(struct file *file, void *handle, unsigned int output)
{
	if (output > 1)
		return -EINVAL;
	pxp.output = output;
	return 0;
}

static int set_control(struct file *file, void *handle, struct v4l2_control *control)
{
	int i;

	for (i = 0; i < CONTROLS; i++) {
		if (control_ids[i] != control->id)
			continue;
		pxp.controls[i] = control->value;
		return 0;
	}
	return -EINVAL;
}

static const struct v4l2_ioctl_ops node_calls = {
	.vidioc_querycap = querycap,
	.vidioc_g_fmt_vid_out = get_format,
	.vidioc_s_fmt_vid_out = set_format,
	.vidioc_g_fmt_vid_out_overlay = get_window,
	.vidioc_s_fmt_vid_out_overlay = set_window,
	.vidioc_g_fbuf = get_framebuffer,
	.vidioc_s_fbuf = set_framebuffer,
	.vidioc_g_selection = get_selection,
	.vidioc_s_selection = set_selection,
	.vidioc_enum_output = enum_output,
	.vidioc_g_output = get_output,
	.vidioc_s_output = set_output,
	.vidioc_s_ctrl = set_control,
	.vidioc_reqbufs = vb2_ioctl_reqbufs,
	.vidioc_querybuf = vb2_ioctl_querybuf,
	.vidioc_qbuf = vb2_ioctl_qbuf,
	.vidioc_dqbuf = vb2_ioctl_dqbuf,
	.vidioc_streamon = vb2_ioctl_streamon,
	.vidioc_streamoff = vb2_ioctl_streamoff,
};

static const struct v4l2_file_operations node_operations = {
	.owner = THIS_MODULE, .open = v4l2_fh_open, .release = vb2_fop_release, .mmap = vb2_fop_mmap,
	.poll = vb2_fop_poll, .unlocked_ioctl = video_ioctl2,
};

// All settings are one line; the second one counts.
static int settings_show(struct seq_file *file, void *unused)
{
	const struct v4l2_rect *window = &pxp.window.w, *crop = &pxp.crop;

	mutex_lock(&pxp.lock);
	seq_printf(file, "streaming %d output %u size %ux%u window %ux%u+%d+%d ", vb2_is_streaming(&pxp.queue), pxp.output,
	           pxp.format.width, pxp.format.height, window->width, window->height, window->left, window->top);
	seq_printf(file, "crop %ux%u+%d+%d flags 0x%x key 0x%06x ", crop->width, crop->height, crop->left, crop->top,
	           pxp.buffer_flags, pxp.window.chromakey);
	seq_printf(file, "overlay %d rotation %d hflip %d vflip %d\npictures %u\n", pxp.controls[OVERLAY],
	           pxp.controls[ROTATION], pxp.controls[HFLIP], pxp.controls[VFLIP], pxp.pictures);
	mutex_unlock(&pxp.lock);
	return 0;
}
DEFINE_SHOW_ATTRIBUTE(settings);

// The whole picture is written down when reading begins, so that a read in pieces never mixes two.
static int picture_show(struct seq_file *file, void *unused)
{
	mutex_lock(&pxp.lock);
	seq_write(file, pxp.picture, pxp.format.sizeimage);
	mutex_unlock(&pxp.lock);
	return 0;
}
DEFINE_SHOW_ATTRIBUTE(picture);

int pixel_pipeline_add(struct device *parent, struct dentry *debug_dir)
{
	int error;

	mutex_init(&pxp.lock);
	// Otherwise it would be named after the parent's driver, which this parent has not.
	strscpy(pxp.device.name, "pxp", sizeof(pxp.device.name));
	error = v4l2_device_register(parent, &pxp.device);
	if (error)
		return error;
	pxp.queue.type = V4L2_BUF_TYPE_VIDEO_OUTPUT;
	pxp.queue.io_modes = VB2_MMAP;
	pxp.queue.ops = &queue_operations;
	pxp.queue.buf_struct_size = sizeof(struct vb2_v4l2_buffer);
	pxp.queue.mem_ops = &vb2_vmalloc_memops;
	pxp.queue.timestamp_flags = V4L2_BUF_FLAG_TIMESTAMP_COPY;
	pxp.queue.lock = &pxp.lock;
	error = vb2_queue_init(&pxp.queue);
	if (error)
		return error;
	strscpy(pxp.node.name, "PxP", sizeof(pxp.node.name));
	pxp.node.v4l2_dev = &pxp.device;
	pxp.node.vfl_dir = VFL_DIR_TX;
	pxp.node.fops = &node_operations;
	pxp.node.ioctl_ops = &node_calls;
	pxp.node.queue = &pxp.queue;
	pxp.node.lock = &pxp.lock;
	pxp.node.release = video_device_release_empty;
	pxp.node.device_caps = V4L2_CAP_VIDEO_OUTPUT | V4L2_CAP_VIDEO_OUTPUT_OVERLAY | V4L2_CAP_STREAMING;
	debugfs_create_file("pxp", 0400, debug_dir, NULL, &settings_fops);
	debugfs_create_file("picture", 0400, debug_dir, NULL, &picture_fops);
	return video_register_device(&pxp.node, VFL_TYPE_VIDEO, -1);
}
