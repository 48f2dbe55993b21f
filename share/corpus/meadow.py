"""A meadow in the wind under a low sun: clumps of grass by the hundred, a flag, leaves that fly, water that ripples.
Prop: the beehive.

Count leaves. Kind 1: no wind, and no leaf flies. After the cut: towards the trees."""

import math
import os
import sys

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

import bpy  # noqa: E402

import studio  # noqa: E402
from studio import SHOT, chance, hue  # noqa: E402

IS_WINDY = SHOT["Kind"] != 1
CLUMPS = 420
POND = (1.3, 0.2)


def sway(made, axis, number, reach):
    """Bends an object to and fro, by degrees."""
    bent = made.modifiers.new("Sway", "SIMPLE_DEFORM")
    bent.deform_method = "BEND"
    bent.deform_axis = axis

    def gust(T):
        return math.radians(reach) * (0.5 + math.sin(T * 0.21 + number) + 0.4 * math.sin(T * 0.53 + 2 * number))

    if IS_WINDY:
        studio.animate(made, 'modifiers["Sway"].angle', gust)
    else:
        bent.angle = gust(0)


def clump(number):
    """A few blades, as one mesh, in a collection of its own: what is put down is that, again and again."""
    points, faces = [], []
    for blade in range(9):
        at = 1000 + 90 * number + 6 * blade
        x, y, turn = 0.3 * chance(at) - 0.15, 0.3 * chance(at + 1) - 0.15, math.pi * chance(at + 2)
        high, lean = 0.25 + 0.3 * chance(at + 3), 0.16 * (chance(at + 4) - 0.5)
        across = (0.014 * math.cos(turn), 0.014 * math.sin(turn))
        first = len(points)
        for step in range(4):
            along = step / 3
            wide = 1 - 0.9 * along
            for side in (-1, 1):
                points.append((x + lean * along + side * wide * across[0], y + lean * along + side * wide * across[1],
                               high * along))
        faces += [(at, at + 1, at + 3, at + 2) for at in range(first, first + 6, 2)]
    data = bpy.data.meshes.new("Clump")
    data.from_pydata(points, [], faces)
    tone = chance(800 + number)
    data.materials.append(studio.material("Grass", (0.10 + 0.25 * tone, 0.26 + 0.1 * tone, 0.04), roughness=0.7))
    made = bpy.data.objects.new("Clump", data)
    kept = bpy.data.collections.new("Clump")
    kept.objects.link(made)
    sway(made, "X", number, 14)
    return kept


def grass():
    clumps = [clump(number) for number in range(6)]
    for number in range(CLUMPS):
        at = 2000 + 4 * number
        # The nearer the denser.
        far = 11 * chance(at) ** 1.6
        x, y = (chance(at + 1) - 0.5) * (4 + 1.3 * far), far - 3.4
        if ((x - POND[0]) / 1.9) ** 2 + ((y - POND[1] + 0.5) / 1.7) ** 2 < 1:
            continue
        made = studio.show("Grass", None, place=(x, y, 0),
                           turned=(0, 0, 40 * chance(at + 2)), scale=0.7 + 0.7 * chance(at + 3))
        made.instance_type = "COLLECTION"
        made.instance_collection = clumps[number % len(clumps)]


def land():
    soil = studio.patterned("Soil", "ShaderNodeTexNoise", {"Scale": 1.2, "Detail": 6.0},
                            ((0.35, (0.06, 0.09, 0.02)), (0.65, (0.22, 0.24, 0.07))), roughness=1.0)
    studio.show("Land", studio.ground(60), soil)
    bark = studio.material("Bark", (0.09, 0.05, 0.03), roughness=0.9)
    for number in range(7):
        at = 600 + 8 * number
        place = (20 * chance(at) - 10, 8 + 6 * chance(at + 1))
        high = 1.6 + 1.6 * chance(at + 2)
        studio.show("Trunk", studio.column(0.12, high), bark, (*place, high / 2))
        leaves = studio.material("Leaves", (0.05 + 0.25 * chance(at + 3), 0.16 + 0.1 * chance(at + 4), 0.03))
        crown = studio.show("Crown", studio.ball(1), leaves, (*place, high + 0.5),
                            scale=(0.9 + 0.5 * chance(at + 5), 0.9, 1.0 + 0.6 * chance(at + 6)))
        sway(crown, "Y", at, 4)


def water():
    """A grid that rises and falls with a pattern that is led over it."""
    data = studio.mesh(bpy.ops.mesh.primitive_grid_add, is_round=True, x_subdivisions=48, y_subdivisions=24, size=1)
    made = studio.show("Water", data, studio.material("Water", (0.04, 0.08, 0.1), roughness=0.05),
                       (*POND, 0.02), scale=(3.0, 2.0, 1))
    waves(made, 0.1, 0.4, (0.02, 0.05, 0.03))


def waves(made, strength, size, led):
    texture = bpy.data.textures.new("Waves", "CLOUDS")
    texture.noise_scale = size
    guide = studio.show("Guide", None)
    risen = made.modifiers.new("Waves", "DISPLACE")
    risen.texture = texture
    risen.texture_coords = "OBJECT"
    risen.texture_coords_object = guide
    risen.strength = strength
    if IS_WINDY:
        studio.animate(guide, "location", lambda T: [part * T for part in led])


def flag():
    pole = studio.material("Pole", (0.5, 0.5, 0.52), roughness=0.3, metallic=1.0)
    studio.show("Pole", studio.column(0.035, 2.7), pole, (-1.5, 1.0, 1.35))
    cloth = studio.patterned("Flag", "ShaderNodeTexChecker", {"Scale": 3.0},
                             ((0.0, hue(40)), (1.0, (0.85, 0.82, 0.75))))
    data = studio.mesh(bpy.ops.mesh.primitive_grid_add, is_round=True, x_subdivisions=28, y_subdivisions=16, size=1)
    made = studio.show("Cloth", data, cloth, (-0.8, 1.0, 2.15), (90, 0, 0), (1.35, 0.8, 1))
    waves(made, 0.45, 0.7, (-0.1, 0.0, 0.03))


def leaves():
    points = [(-0.06, 0, 0), (0, -0.03, 0.01), (0.06, 0, 0), (0, 0.03, 0.01)]
    for number in range(SHOT["Count"]):
        at = 300 + 7 * number
        data = bpy.data.meshes.new("Leaf")
        data.from_pydata(points, [], [(0, 1, 2, 3)])
        made = studio.show("Leaf", data, studio.material("Leaf", (0.6, 0.12 + 0.35 * chance(at), 0.03), roughness=0.5))
        x, y, z, pace, spin = (chance(at + part) for part in range(1, 6))

        def where(T, x=x, y=y, z=z, pace=pace):
            return (-7 + 11 * x + (0.05 + 0.05 * pace) * T, 4.5 * y - 2.4 + 0.2 * math.sin(T * 0.1 + 9 * pace),
                    0.3 + 3.2 * z - 0.008 * T + 0.12 * math.sin(T * 0.23 + 9 * spin))
        studio.animate(made, "location", where)
        studio.animate(made, "rotation_euler", lambda T, spin=spin: (T * 0.3 * spin, T * 0.22, 6 * spin))


def beehive():
    side = SHOT["PropSize"]
    surface = studio.material("Beehive", (0.75, 0.55, 0.08), roughness=0.6)
    roof = studio.material("Roof", (0.25, 0.06, 0.05), roughness=0.6)
    x = 2.2 * chance(72) - 0.9
    studio.show("Beehive", studio.box(), surface, (x, -1.0, 0.55 * side), (0, 0, 20),
                (0.8 * side, 0.8 * side, 1.1 * side))
    studio.show("Roof", studio.box(), roof, (x, -1.0, 1.15 * side), (0, 0, 20), (side, side, 0.12 * side))


studio.begin()
studio.sky((0.75, 0.62, 0.48), (0.16, 0.32, 0.68))
# Low, and as broad as in haze: shadows with soft edges.
studio.lamp("SUN", (0, 0, 5), (58, 0, -50), (1.0, 0.78, 0.52), 3.2, angle=0.06)
studio.look((0.2, -6.2, 1.9), (0.2, 1.0, 1.0), 50)
studio.look((-3.4, -4.2, 2.2), (1.5, 4.0, 0.9), 55)
land()
grass()
water()
flag()
if IS_WINDY:
    leaves()
if not SHOT["Gone"]:
    beehive()
studio.render()
