"""A hall full of fog: beams of light fall through the bars of a window, a wheel turns in one of them, dust drifts.
Prop: the barrel.

Count grains of dust. Kind 1: the wheel stands. After the cut: from behind, against the light."""

import math
import os
import sys

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

import bpy  # noqa: E402

import studio  # noqa: E402
from studio import SHOT, chance, hue  # noqa: E402

WINDOW_X, WINDOW_Y, WINDOW_Z = -3.0, 2.0, 2.6


def walls():
    tiles = studio.patterned("Tiles", "ShaderNodeTexChecker", {"Scale": 1.4},
                             ((0.0, (0.36, 0.33, 0.28)), (1.0, (0.09, 0.08, 0.09))), roughness=0.15)
    studio.show("Floor", studio.ground(14), tiles)
    plaster = studio.patterned("Plaster", "ShaderNodeTexNoise", {"Scale": 2.5, "Detail": 5.0},
                               ((0.3, hue(900)), (0.7, (0.5, 0.45, 0.38))), roughness=0.9)
    studio.show("Back", studio.ground(14), plaster, (0, 4.5, 0), (90, 0, 0))
    # Around the window, and bars in it.
    for name, place, size in (("Below", (WINDOW_X, WINDOW_Y, 0.8), (0.2, 8, 1.6)),
                              ("Above", (WINDOW_X, WINDOW_Y, 5.0), (0.2, 8, 3.0)),
                              ("Left", (WINDOW_X, -2.0, 2.6), (0.2, 5.4, 2.2)),
                              ("Right", (WINDOW_X, 4.6, 2.6), (0.2, 2.6, 2.2))):
        studio.show(name, studio.box(), plaster, place, scale=size)
    iron = studio.material("Iron", (0.05, 0.05, 0.06), roughness=0.4, metallic=1.0)
    for number in range(3):
        studio.show("Bar", studio.box(), iron, (WINDOW_X, 1.35 + 0.68 * number, WINDOW_Z), scale=(0.2, 0.2, 2.2))
    stone = studio.material("Stone", (0.42, 0.4, 0.37), roughness=0.8)
    for number in range(4):
        studio.show("Pillar", studio.column(0.28, 5), stone,
                    (-1.6 + 1.9 * number, 3.4 - 0.5 * chance(20 + number), 2.5))


def wheel():
    iron = studio.material("Wheel", hue(40), roughness=0.6, metallic=0.2)
    hub = studio.show("Hub", studio.column(0.12, 0.3), iron, (-0.1, 1.9, 1.25), (90, 0, 0))
    parts = [studio.show("Rim", studio.mesh(bpy.ops.mesh.primitive_torus_add, is_round=True, major_radius=0.85,
                                            minor_radius=0.08), iron)]
    for number in range(6):
        angle = math.pi * number / 3
        parts.append(studio.show("Spoke", studio.box(), iron, (0.42 * math.cos(angle), 0.42 * math.sin(angle), 0),
                                 (0, 0, 60 * number), (0.84, 0.1, 0.08)))
    for part in parts:
        part.parent = hub
    if SHOT["Kind"] != 1:
        studio.animate(hub, "rotation_euler", lambda T: (math.pi / 2, 2 * math.pi * T / 48, 0))


def dust():
    grain = studio.ball(0.018)
    grain.materials.append(studio.material("Dust", (0.9, 0.85, 0.75), roughness=0.9))
    for number in range(SHOT["Count"]):
        x, y, z, pace = (chance(100 + 4 * number + part) for part in range(4))
        made = studio.show("Dust", grain)

        def where(T, x=x, y=y, z=z, pace=pace):
            return (6 * x - 3 + 0.1 * math.sin(T * 0.11 + 20 * pace), 5 * y - 2.6 + 0.008 * T,
                    0.1 + 3.4 * z - (0.003 + 0.012 * pace) * T)
        studio.animate(made, "location", where)


def barrel():
    side = SHOT["PropSize"]
    surface = studio.material("Barrel", (0.55, 0.16, 0.05), roughness=0.45)
    studio.show("Barrel", studio.column(0.4 * side, 1.2 * side), surface,
                (1.8 * chance(71) - 0.5, 0.5, 0.6 * side))


studio.begin()
# One lamp, lest paths be spent on another: fog is noisy enough.
studio.sky((0.03, 0.04, 0.06), (0.03, 0.04, 0.06))
studio.lamp("SPOT", (-8.0, 2.8, 6.2), (0, -58, -6), (1.0, 0.88, 0.68), 20000, spot_size=0.42, spot_blend=0.3,
            shadow_soft_size=0.12)
studio.look((1.4, -4.6, 1.6), (-0.1, 1.8, 1.45), 54)
studio.look((3.6, -1.6, 1.2), (-1.5, 2.2, 1.7), 58)
studio.fog(0.09, (0, 0.5, 2.4), (11, 7.9, 4.8))
walls()
wheel()
dust()
if not SHOT["Gone"]:
    barrel()
studio.render()
