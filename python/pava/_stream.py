"""Streams of frames: filled in by the Decoder binding."""

Damage = Decoder = Frame = Message = read_frames = None
