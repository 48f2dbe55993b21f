"""What the scenes for Blender share: the parameters of a shot, its time, light and camera, and how it is rendered
by Cycles. Units are metres; up is Z.

A scene is built from nothing when its script is run, and rendered where a file says so:

    blender -b --factory-startup --python still.py -- shot.json

The file holds {"Frames": [1, 2, ...], "Width": 160, "Height": 90} and the parameters; the n-th picture is that of
Frames[n - 1]. Frames of a shot count from 1 to Length. Without a file the scene is there to be looked at.
"""

import json
import math
import os
import random
import sys

import bpy
from mathutils import Euler, Vector

PARAMETERS = {
    "Length": 72, "Frames": [1], "Width": 160, "Height": 90,
    "Depth": 0,             # 1: distance from the eye, too, as a channel Z.
    "Seed": 1,              # Where things stand, and which colours they have.
    "Kind": 0,              # Each scene says what it makes of it.
    "Count": 12,            # Things or particles.
    "Gone": 0,              # 1: the prop of the scene is not there.
    "PropSize": 0.6,
    "Hold": 1,              # Frames that show the same: 2 is animation on twos.
    "Cut": 0,               # The frame from which on the shot is another.
    "FadeIn": 0,            # Frames of a fade from black.
    "FadeOut": 0,
    "Flicker": 0,           # Share of the light that comes and goes with FlickerPeriod.
    "FlickerPeriod": 12,
    "Move": 0,              # 0 stands, 1 pans, 2 travels, 3 whips, 4 by hand, 5 zooms.
    "Speed": 1,             # Degrees a frame, or a twentieth of a metre.
    "WhipAt": 34,
    "Samples": 16,          # Paths through each pixel.
    "Denoise": 0,           # 1: noise is smoothed within surfaces.
    "NoiseFixed": 0,        # 1: the same noise in each frame.
    "Shutter": 0,           # How long it is open, in frames; 0: nothing is blurred by motion.
    "Aperture": 0,          # Its diameter in millimetres; 0: all is sharp.
}


def read_parameters():
    arguments = sys.argv[sys.argv.index("--") + 1:] if "--" in sys.argv else []
    values = dict(PARAMETERS)
    if arguments:
        with open(arguments[0], encoding="utf-8") as file:
            told = json.load(file)
        unknown = set(told) - set(PARAMETERS)
        if unknown:
            sys.exit(f"the scenes for Blender have no parameter {', '.join(sorted(unknown))}")
        values.update(told)
    return values, bool(arguments)


SHOT, IS_RENDERED = read_parameters()
LENGTH = SHOT["Length"]
THROWN = random.Random(SHOT["Seed"])
DICE = [THROWN.random() for _ in range(4096)]
# Lights with what they give when the level of light is 1.
LIGHTS = []
# The second is seen from SHOT["Cut"] on.
CAMERAS = []


def chance(number):
    """Between 0 and 1, the same for the same number of a shot."""
    return DICE[number % len(DICE)]


def hue(number):
    return tuple(0.08 + 0.75 * chance(number + channel) ** 1.5 for channel in range(3))


def shown(frame):
    """What time a frame shows, from 0."""
    return (frame - 1) // SHOT["Hold"] * SHOT["Hold"]


def is_after_cut(frame):
    return 0 < SHOT["Cut"] <= frame


def smooth(along):
    along = min(1.0, max(0.0, along))
    return along * along * (3 - 2 * along)


def level(frame):
    """Of all light in a frame."""
    light = 1.0
    if SHOT["FadeIn"] > 0:
        light *= smooth((frame - 1) / SHOT["FadeIn"])
    if SHOT["FadeOut"] > 0:
        light *= smooth((LENGTH - frame) / SHOT["FadeOut"])
    return light * (1 + SHOT["Flicker"] * math.sin(2 * math.pi * shown(frame) / SHOT["FlickerPeriod"]))


def animate(owner, path, value):
    """Lets a property be `value(T)`, a number or several, at each time T. Between two frames it goes from the one
    to the other, so that motion blurs; what is held jumps."""
    if not owner.animation_data:
        owner.animation_data_create()
    if not owner.animation_data.action:
        owner.animation_data.action = bpy.data.actions.new("Moves")
    frames = range(0, LENGTH + 3)
    values = [value(shown(frame)) for frame in frames]
    rows = [row if hasattr(row, "__len__") else (row,) for row in values]
    interpolation = bpy.types.Keyframe.bl_rna.properties["interpolation"].enum_items
    kind = interpolation["CONSTANT" if SHOT["Hold"] > 1 else "LINEAR"].value
    for index in range(len(rows[0])):
        curve = owner.animation_data.action.fcurves.new(path, index=index)
        curve.keyframe_points.add(len(frames))
        curve.keyframe_points.foreach_set(
            "co", [number for frame, row in zip(frames, rows) for number in (frame, row[index])])
        curve.keyframe_points.foreach_set("interpolation", [kind] * len(frames))
        curve.update()


def material(name, colour, roughness=0.6, metallic=0.0, glass=0.0, emission=None):
    """Of one colour."""
    made = bpy.data.materials.new(name)
    made.use_nodes = True
    inputs = made.node_tree.nodes["Principled BSDF"].inputs
    inputs["Base Color"].default_value = (*colour, 1)
    inputs["Roughness"].default_value = roughness
    inputs["Metallic"].default_value = metallic
    inputs["Transmission"].default_value = glass
    if emission:
        inputs["Emission"].default_value = (*emission, 1)
    return made


def patterned(name, texture, settings, stops, roughness=0.6, stretch=(1, 1, 1)):
    """Colours of `stops`, (place, colour) from 0 to 1, by a texture of Blender's such as "ShaderNodeTexNoise" with
    these of its inputs set."""
    made = material(name, (0, 0, 0), roughness)
    tree = made.node_tree
    place = tree.nodes.new("ShaderNodeTexCoord")
    mapping = tree.nodes.new("ShaderNodeMapping")
    mapping.inputs["Scale"].default_value = stretch
    pattern = tree.nodes.new(texture)
    for key, number in settings.items():
        pattern.inputs[key].default_value = number
    ramp = tree.nodes.new("ShaderNodeValToRGB")
    for element, (at, colour) in zip(ramp.color_ramp.elements, stops):
        element.position = at
        element.color = (*colour, 1)
    tree.links.new(place.outputs["Object"], mapping.inputs["Vector"])
    tree.links.new(mapping.outputs["Vector"], pattern.inputs["Vector"])
    tree.links.new(pattern.outputs["Fac"], ramp.inputs["Fac"])
    tree.links.new(ramp.outputs["Color"], tree.nodes["Principled BSDF"].inputs["Base Color"])
    return made


def show(name, data, surface=None, place=(0, 0, 0), turned=(0, 0, 0), scale=1.0):
    """An object of the scene. `turned` in degrees; `scale` one number or three."""
    made = bpy.data.objects.new(name, data)
    bpy.context.scene.collection.objects.link(made)
    made.location = place
    made.rotation_euler = [math.radians(angle) for angle in turned]
    made.scale = scale if hasattr(scale, "__len__") else (scale,) * 3
    if surface:
        data.materials.append(surface)
    return made


def mesh(add, is_round=False, **settings):
    """The mesh of one of Blender's primitives: mesh(bpy.ops.mesh.primitive_cube_add, size=1)."""
    add(**settings)
    made = bpy.context.object
    data = made.data
    bpy.data.objects.remove(made)
    if is_round:
        data.polygons.foreach_set("use_smooth", [True] * len(data.polygons))
    return data


def ball(radius=1.0):
    return mesh(bpy.ops.mesh.primitive_uv_sphere_add, is_round=True, segments=32, ring_count=16, radius=radius)


def box():
    """One metre on each side, around its middle."""
    return mesh(bpy.ops.mesh.primitive_cube_add, size=1, location=(0, 0, 0))


def column(radius=1.0, depth=1.0, vertices=32):
    return mesh(bpy.ops.mesh.primitive_cylinder_add, radius=radius, depth=depth, vertices=vertices)


def ground(side):
    return mesh(bpy.ops.mesh.primitive_plane_add, size=side)


def lamp(kind, place, turned, colour, power, **settings):
    """A light: "AREA", "SPOT", "SUN" or "POINT"; `power` in watts, of a sun in watts a square metre."""
    data = bpy.data.lights.new("Lamp", kind)
    data.color = colour
    for key, number in settings.items():
        setattr(data, key, number)
    LIGHTS.append((data, "energy", power))
    return show("Lamp", data, place=place, turned=turned)


def sky(low, high):
    """From the horizon up."""
    world = bpy.data.worlds.new("Sky")
    bpy.context.scene.world = world
    # It has no sun that would have to be looked for, and the map of it takes longer than a frame.
    world.cycles.sampling_method = "NONE"
    world.use_nodes = True
    tree = world.node_tree
    place = tree.nodes.new("ShaderNodeTexCoord")
    parts = tree.nodes.new("ShaderNodeSeparateXYZ")
    ramp = tree.nodes.new("ShaderNodeValToRGB")
    for element, (at, colour) in zip(ramp.color_ramp.elements, ((0.0, low), (0.6, high))):
        element.position = at
        element.color = (*colour, 1)
    tree.links.new(place.outputs["Generated"], parts.inputs["Vector"])
    tree.links.new(parts.outputs["Z"], ramp.inputs["Fac"])
    tree.links.new(ramp.outputs["Color"], tree.nodes["Background"].inputs["Color"])
    LIGHTS.append((tree.nodes["Background"].inputs["Strength"], "default_value", 1.0))


def fog(density, place, size, colour=(1, 1, 1)):
    """A box of it, alike everywhere; `density` in the share of light that a metre takes."""
    made = bpy.data.materials.new("Fog")
    made.use_nodes = True
    tree = made.node_tree
    tree.nodes.remove(tree.nodes["Principled BSDF"])
    scatter = tree.nodes.new("ShaderNodeVolumeScatter")
    scatter.inputs["Color"].default_value = (*colour, 1)
    scatter.inputs["Density"].default_value = density
    scatter.inputs["Anisotropy"].default_value = 0.3
    made.cycles.volume_sampling = "EQUIANGULAR"
    tree.links.new(scatter.outputs["Volume"], tree.nodes["Material Output"].inputs["Volume"])
    return show("Fog", box(), made, place, scale=size)


def look(eye, goal, opening):
    """A camera at `eye` that looks at `goal`, with `opening` degrees from left to right, and moves as Move says.
    The first is that of the shot; a second one is that after the cut."""
    eye, goal = Vector(eye), Vector(goal)
    data = bpy.data.cameras.new("Camera")
    made = show("Camera", data)
    CAMERAS.append(made)
    straight = (goal - eye).to_track_quat("-Z", "Y")
    made.rotation_mode = "QUATERNION"
    made.rotation_quaternion = straight
    made.location = eye
    lens = data.sensor_width / 2 / math.tan(math.radians(opening) / 2)
    data.lens = lens
    if SHOT["Aperture"] > 0:
        data.dof.use_dof = True
        data.dof.focus_distance = (goal - eye).length
        data.dof.aperture_fstop = lens / SHOT["Aperture"]
    speed = SHOT["Speed"]
    aside = straight @ Vector((1, 0, 0))

    def turned(degrees):
        return Euler((0, 0, -math.radians(degrees))).to_quaternion() @ straight

    if SHOT["Move"] == 1:
        animate(made, "rotation_quaternion", lambda T: turned((T - LENGTH / 2) * speed))
    elif SHOT["Move"] == 2:
        animate(made, "location", lambda T: eye + aside * (T - LENGTH / 2) * speed / 20)
    elif SHOT["Move"] == 3:
        animate(made, "rotation_quaternion", lambda T: turned(70 * smooth((T - SHOT["WhipAt"]) / 6) - 35))
    elif SHOT["Move"] == 4:
        animate(made, "rotation_quaternion",
                lambda T: turned(speed * (math.sin(T * 0.31) + 0.6 * math.sin(T * 0.83 + 1))))
        animate(made, "location", lambda T: eye + (aside * 0.02 * math.sin(T * 0.57)
                                                   + Vector((0, 0, 0.03)) * math.sin(T * 0.41)) * speed)
    elif SHOT["Move"] == 5:
        animate(data, "lens", lambda T: lens / (1 - 0.006 * speed * T))


def begin():
    """Takes away what Blender begins with."""
    bpy.ops.wm.read_factory_settings(use_empty=True)


def smooth_noise(scene):
    """Within surfaces: across edges, which their colours and normals tell, nothing is mixed."""
    scene.view_layers[0].use_pass_normal = True
    scene.view_layers[0].cycles.denoising_store_passes = True
    scene.use_nodes = True
    nodes, links = scene.node_tree.nodes, scene.node_tree.links
    nodes.clear()
    seen = nodes.new("CompositorNodeRLayers")
    edges = nodes.new("CompositorNodeMixRGB")
    edges.blend_type = "ADD"
    links.new(seen.outputs["Denoising Albedo"], edges.inputs[1])
    links.new(seen.outputs["Normal"], edges.inputs[2])
    mixed = nodes.new("CompositorNodeBilateralblur")
    mixed.iterations = 2
    mixed.sigma_color = 0.1
    mixed.sigma_space = 3
    links.new(seen.outputs["Image"], mixed.inputs["Image"])
    links.new(edges.outputs["Image"], mixed.inputs["Determinator"])
    links.new(mixed.outputs["Image"], nodes.new("CompositorNodeComposite").inputs["Image"])


def set_up(scene):
    scene.render.engine = "CYCLES"
    scene.cycles.device = "CPU"
    scene.cycles.samples = SHOT["Samples"]
    # So many paths in each pixel, that a quarter of them is a quarter.
    scene.cycles.use_adaptive_sampling = False
    scene.cycles.use_denoising = False
    scene.cycles.max_bounces = 5
    scene.cycles.volume_bounces = 0
    scene.cycles.sample_clamp_indirect = 2
    scene.render.use_persistent_data = True
    scene.render.resolution_x = SHOT["Width"]
    scene.render.resolution_y = SHOT["Height"]
    scene.render.resolution_percentage = 100
    scene.render.use_motion_blur = SHOT["Shutter"] > 0
    scene.render.motion_blur_shutter = max(SHOT["Shutter"], 0.01)
    # From the frame on: before it another one may be held.
    scene.cycles.motion_blur_position = "START"
    scene.render.image_settings.file_format = "OPEN_EXR"
    scene.render.image_settings.color_mode = "RGB"
    scene.render.image_settings.color_depth = "32"
    scene.render.image_settings.exr_codec = "ZIP"
    scene.render.use_sequencer = False
    if SHOT["Depth"]:
        scene.view_layers[0].use_pass_z = True
        scene.render.image_settings.use_zbuffer = True
    if SHOT["Denoise"]:
        smooth_noise(scene)


def render():
    """All frames in this process: what does not move is made ready once."""
    scene = bpy.context.scene
    set_up(scene)
    scene.camera = CAMERAS[0]
    if not IS_RENDERED:
        return
    for number, frame in enumerate(SHOT["Frames"], 1):
        scene.camera = CAMERAS[is_after_cut(frame)]
        scene.cycles.seed = SHOT["Seed"] if SHOT["NoiseFixed"] else SHOT["Seed"] * 1000 + frame
        for owner, key, power in LIGHTS:
            setattr(owner, key, power * level(frame))
        scene.frame_set(frame)
        scene.render.filepath = os.path.abspath(f"frame{number:04d}.exr")
        bpy.ops.render.render(write_still=True)
