"""python3 -m tirnvision: the plug-in's version, classes, functions and units."""
import tirnvision


def main():
    print(f"tirnvision {tirnvision.version} ({tirnvision._module_path()})")
    print("Classes:")
    for name in tirnvision.classes:
        print(f"  {name:<22}{tirnvision._doc(name)[0]}")
    print("Functions:")
    for name in tirnvision.functions:
        protos = getattr(tirnvision, name).__doc__.splitlines()[0]
        print(f"  {name:<22}{protos.split('    [')[0]}")
    print(f"Units (folder {tirnvision._core.folder()}):")
    for name in tirnvision._core.icons():
        print(f"  {name}")


if __name__ == "__main__":
    main()
