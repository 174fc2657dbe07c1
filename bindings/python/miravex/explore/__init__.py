"""A local web page on which to try every operation: python3 -m miravex.explore [PICTURES...]

The page is served to this machine alone, under an address with a secret in it. Calls are made by the command
``miravex`` in processes of their own, so that a slow one neither blocks the page nor outlives its usefulness.
"""
