// SPDX-License-Identifier: GPL-2.0
#include "pixel_pipeline.h"

#include <linux/debugfs.h>
#include <linux/module.h>
#include <linux/seq_file.h>
#include <media/v4l2-device.h>
#include <media/v4l2-ioctl.h>
#include <media/videobuf2-vmalloc.h>

#define CONTROL_ROTATION (V4L2_CID_PRIVATE_BASE + 0)
#define CONTROL_OVERLAY (V4L2_CID_PRIVATE_BASE + 3)
#define MAX_WIDTH 640
#define MAX_HEIGHT 480
#define MAX_BYTES (MAX_WIDTH * MAX_HEIGHT * 2)

// The one pipeline. `lock` is the node's: every call below holds it, debugfs takes it.
static struct {
	struct v4l2_device device;
	struct video_device node;
	struct vb2_queue queue;
	struct mutex lock;
	bool streaming;
	struct v4l2_pix_format format;
	struct v4l2_window window;
	struct v4l2_rect crop;
	u32 buffer_flags;
	unsigned int output;
	s32 rotation, hflip, vflip, overlay;
	// What stands for the hardware's own memory access: it costs the program nothing.
	struct work_struct refresh;
	spinlock_t waiting_lock;
	struct list_head waiting;
	struct mutex picture_lock;
	u32 pictures;
	u8 picture[MAX_BYTES];
	size_t picture_size;
} pxp;

struct waiting_buffer {
	struct vb2_v4l2_buffer buffer;  // first, as the queue wants it
	struct list_head entry;
};

static int queue_setup(struct vb2_queue *queue, unsigned int *buffers, unsigned int *planes, unsigned int sizes[],
                       struct device *alloc_devices[])
{
	if (*planes)
		return sizes[0] < pxp.format.sizeimage ? -EINVAL : 0;
	*planes = 1;
	sizes[0] = pxp.format.sizeimage;
	return 0;
}

static struct waiting_buffer *next_waiting(void)
{
	struct waiting_buffer *first;

	spin_lock_irq(&pxp.waiting_lock);
	first = list_first_entry_or_null(&pxp.waiting, struct waiting_buffer, entry);
	if (first)
		list_del(&first->entry);
	spin_unlock_irq(&pxp.waiting_lock);
	return first;
}

// The hardware reads a queued picture at the next refresh; here that is as soon as there is time.
static void refresh(struct work_struct *work)
{
	struct waiting_buffer *next;

	while ((next = next_waiting())) {
		struct vb2_buffer *buffer = &next->buffer.vb2_buf;
		const size_t size = min_t(size_t, vb2_plane_size(buffer, 0), MAX_BYTES);

		mutex_lock(&pxp.picture_lock);
		memcpy(pxp.picture, vb2_plane_vaddr(buffer, 0), size);
		pxp.picture_size = size;
		pxp.pictures++;
		mutex_unlock(&pxp.picture_lock);
		vb2_buffer_done(buffer, VB2_BUF_STATE_DONE);
	}
}

static void buf_queue(struct vb2_buffer *buffer)
{
	struct waiting_buffer *added = container_of(buffer, struct waiting_buffer, buffer.vb2_buf);

	spin_lock_irq(&pxp.waiting_lock);
	list_add_tail(&added->entry, &pxp.waiting);
	spin_unlock_irq(&pxp.waiting_lock);
	schedule_work(&pxp.refresh);
}

static int buf_prepare(struct vb2_buffer *buffer)
{
	vb2_set_plane_payload(buffer, 0, vb2_plane_size(buffer, 0));
	return 0;
}

static int start_streaming(struct vb2_queue *queue, unsigned int count)
{
	pxp.streaming = true;
	return 0;
}

static void stop_streaming(struct vb2_queue *queue)
{
	struct waiting_buffer *left;

	cancel_work_sync(&pxp.refresh);
	while ((left = next_waiting()))
		vb2_buffer_done(&left->buffer.vb2_buf, VB2_BUF_STATE_ERROR);
	pxp.streaming = false;
}

static const struct vb2_ops queue_operations = {
	.queue_setup = queue_setup, .buf_prepare = buf_prepare, .buf_queue = buf_queue,
	.start_streaming = start_streaming, .stop_streaming = stop_streaming,
	.wait_prepare = vb2_ops_wait_prepare, .wait_finish = vb2_ops_wait_finish,
};

static int querycap(struct file *file, void *handle, struct v4l2_capability *capability)
{
	strscpy(capability->driver, "pxp", sizeof(capability->driver));
	strscpy(capability->card, "PxP", sizeof(capability->card));
	strscpy(capability->bus_info, "platform:mxs-pxp.0", sizeof(capability->bus_info));
	return 0;
}

static int enum_format(struct file *file, void *handle, struct v4l2_fmtdesc *description)
{
	if (description->index)
		return -EINVAL;
	description->pixelformat = V4L2_PIX_FMT_YUV422P;
	return 0;
}

static int get_format(struct file *file, void *handle, struct v4l2_format *format)
{
	format->fmt.pix = pxp.format;
	return 0;
}

static void clamp_format(struct v4l2_pix_format *pix)
{
	pix->width = clamp_t(u32, pix->width, 8, MAX_WIDTH);
	pix->height = clamp_t(u32, pix->height, 8, MAX_HEIGHT);
	pix->pixelformat = V4L2_PIX_FMT_YUV422P;
	pix->field = V4L2_FIELD_NONE;
	pix->bytesperline = pix->width;
	pix->sizeimage = pix->width * pix->height * 2;
	pix->colorspace = V4L2_COLORSPACE_SMPTE170M;
}

static int try_format(struct file *file, void *handle, struct v4l2_format *format)
{
	clamp_format(&format->fmt.pix);
	return 0;
}

// Also while streaming: zooming shrinks the picture that is read from the buffer.
static int set_format(struct file *file, void *handle, struct v4l2_format *format)
{
	clamp_format(&format->fmt.pix);
	pxp.format = format->fmt.pix;
	return 0;
}

static int get_window(struct file *file, void *handle, struct v4l2_format *format)
{
	format->fmt.win.w = pxp.window.w;
	format->fmt.win.field = pxp.window.field;
	format->fmt.win.chromakey = pxp.window.chromakey;
	format->fmt.win.global_alpha = pxp.window.global_alpha;
	return 0;
}

static int set_window(struct file *file, void *handle, struct v4l2_format *format)
{
	pxp.window = format->fmt.win;
	return 0;
}

static int get_framebuffer(struct file *file, void *handle, struct v4l2_framebuffer *buffer)
{
	memset(buffer, 0, sizeof(*buffer));
	buffer->capability = V4L2_FBUF_CAP_EXTERNOVERLAY | V4L2_FBUF_CAP_CHROMAKEY;
	buffer->flags = pxp.buffer_flags;
	return 0;
}

static int set_framebuffer(struct file *file, void *handle, const struct v4l2_framebuffer *buffer)
{
	pxp.buffer_flags = buffer->flags;
	return 0;
}

static int get_selection(struct file *file, void *handle, struct v4l2_selection *selection)
{
	if (selection->type != V4L2_BUF_TYPE_VIDEO_OUTPUT_OVERLAY || selection->target != V4L2_SEL_TGT_COMPOSE)
		return -EINVAL;
	selection->r = pxp.crop;
	return 0;
}

static int set_selection(struct file *file, void *handle, struct v4l2_selection *selection)
{
	if (selection->type != V4L2_BUF_TYPE_VIDEO_OUTPUT_OVERLAY || selection->target != V4L2_SEL_TGT_COMPOSE)
		return -EINVAL;
	pxp.crop = selection->r;
	return 0;
}

static int enum_output(struct file *file, void *handle, struct v4l2_output *output)
{
	if (output->index > 1)
		return -EINVAL;
	strscpy(output->name, output->index ? "interface alone" : "video", sizeof(output->name));
	output->type = V4L2_OUTPUT_TYPE_ANALOG;
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

static s32 *control_value(u32 id)
{
	switch (id) {
	case CONTROL_ROTATION:
		return &pxp.rotation;
	case CONTROL_OVERLAY:
		return &pxp.overlay;
	case V4L2_CID_HFLIP:
		return &pxp.hflip;
	case V4L2_CID_VFLIP:
		return &pxp.vflip;
	default:
		return NULL;
	}
}

static int query_control(struct file *file, void *handle, struct v4l2_queryctrl *query)
{
	if (!control_value(query->id))
		return -EINVAL;
	query->type = query->id == CONTROL_ROTATION ? V4L2_CTRL_TYPE_INTEGER : V4L2_CTRL_TYPE_BOOLEAN;
	strscpy(query->name, query->id == CONTROL_ROTATION ? "rotation" : "switch", sizeof(query->name));
	query->minimum = 0;
	query->maximum = query->id == CONTROL_ROTATION ? 270 : 1;
	query->step = query->id == CONTROL_ROTATION ? 90 : 1;
	query->default_value = 0;
	query->flags = 0;
	return 0;
}

static int get_control(struct file *file, void *handle, struct v4l2_control *control)
{
	const s32 *value = control_value(control->id);

	if (!value)
		return -EINVAL;
	control->value = *value;
	return 0;
}

static int set_control(struct file *file, void *handle, struct v4l2_control *control)
{
	s32 *value = control_value(control->id);

	if (!value)
		return -EINVAL;
	*value = control->value;
	return 0;
}

static const struct v4l2_ioctl_ops node_calls = {
	.vidioc_querycap = querycap,
	.vidioc_enum_fmt_vid_out = enum_format,
	.vidioc_g_fmt_vid_out = get_format,
	.vidioc_try_fmt_vid_out = try_format,
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
	.vidioc_queryctrl = query_control,
	.vidioc_g_ctrl = get_control,
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

static int settings_show(struct seq_file *file, void *unused)
{
	mutex_lock(&pxp.lock);
	mutex_lock(&pxp.picture_lock);
	seq_printf(file,
	           "streaming %d\noutput %u\nwidth %u\nheight %u\nrotation %d\nhflip %d\nvflip %d\noverlay %d\n"
	           "window_left %d\nwindow_top %d\nwindow_width %u\nwindow_height %u\n"
	           "crop_left %d\ncrop_top %d\ncrop_width %u\ncrop_height %u\nkeyed %d\nchroma_key %u\npictures %u\n",
	           pxp.streaming, pxp.output, pxp.format.width, pxp.format.height, pxp.rotation, pxp.hflip, pxp.vflip,
	           pxp.overlay, pxp.window.w.left, pxp.window.w.top, pxp.window.w.width, pxp.window.w.height,
	           pxp.crop.left, pxp.crop.top, pxp.crop.width, pxp.crop.height,
	           (pxp.buffer_flags & V4L2_FBUF_FLAG_CHROMAKEY) != 0, pxp.window.chromakey, pxp.pictures);
	mutex_unlock(&pxp.picture_lock);
	mutex_unlock(&pxp.lock);
	return 0;
}
DEFINE_SHOW_ATTRIBUTE(settings);

struct picture_copy {
	size_t size;
	u8 bytes[MAX_BYTES];
};

// The whole picture as it was when the file was opened, so that a read in pieces never mixes two.
static int picture_open(struct inode *inode, struct file *file)
{
	struct picture_copy *copy = vmalloc(sizeof(*copy));

	if (!copy)
		return -ENOMEM;
	mutex_lock(&pxp.picture_lock);
	copy->size = pxp.picture_size;
	memcpy(copy->bytes, pxp.picture, copy->size);
	mutex_unlock(&pxp.picture_lock);
	file->private_data = copy;
	return 0;
}
static ssize_t picture_read(struct file *file, char __user *to, size_t size, loff_t *at)
{
	const struct picture_copy *copy = file->private_data;

	return simple_read_from_buffer(to, size, at, copy->bytes, copy->size);
}
static int picture_release(struct inode *inode, struct file *file)
{
	vfree(file->private_data);
	return 0;
}
static const struct file_operations picture_operations = {
	.owner = THIS_MODULE, .open = picture_open, .read = picture_read, .release = picture_release};

static int add_queue(void)
{
	struct vb2_queue *queue = &pxp.queue;

	queue->type = V4L2_BUF_TYPE_VIDEO_OUTPUT;
	queue->io_modes = VB2_MMAP;
	queue->ops = &queue_operations;
	queue->buf_struct_size = sizeof(struct waiting_buffer);
	queue->mem_ops = &vb2_vmalloc_memops;
	queue->timestamp_flags = V4L2_BUF_FLAG_TIMESTAMP_COPY;
	queue->lock = &pxp.lock;
	return vb2_queue_init(queue);
}

int pixel_pipeline_add(struct device *parent, struct dentry *debug_dir)
{
	int error;

	mutex_init(&pxp.lock);
	mutex_init(&pxp.picture_lock);
	spin_lock_init(&pxp.waiting_lock);
	INIT_LIST_HEAD(&pxp.waiting);
	INIT_WORK(&pxp.refresh, refresh);
	pxp.format.width = MAX_WIDTH;
	pxp.format.height = MAX_HEIGHT;
	clamp_format(&pxp.format);
	// Otherwise it would be named after the parent's driver, which this parent has not.
	strscpy(pxp.device.name, "pxp", sizeof(pxp.device.name));
	error = v4l2_device_register(parent, &pxp.device);
	if (!error)
		error = add_queue();
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
	debugfs_create_file("picture", 0400, debug_dir, NULL, &picture_operations);
	return video_register_device(&pxp.node, VFL_TYPE_VIDEO, -1);
}
