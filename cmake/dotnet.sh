# The C# compiler of a .NET SDK, used by itself: compiler, reference assemblies and runtime come with the SDK, and nothing
# else is needed. Sourced, where the command dotnet is there.

export DOTNET_CLI_TELEMETRY_OPTOUT=1 DOTNET_NOLOGO=1
sdk_version=$(dotnet --version)
sdk=$(dotnet --list-sdks | sed -n "s/^${sdk_version//./\\.} \[\(.*\)\]$/\1/p")
csc=$sdk/$sdk_version/Roslyn/bincore/csc.dll
references=$(find "$sdk/../packs/Microsoft.NETCore.App.Ref" -type d -path '*/ref/net*' | sort -V | tail -1)
[ -f "$csc" ] && [ -d "$references" ] || {
  echo "error: the .NET SDK $sdk_version has no compiler or no reference assemblies" >&2
  exit 1
}

compile() {
  dotnet exec "$csc" -noconfig -nologo -nostdlib -deterministic -langversion:12 -warnaserror "$@"
}

# compile_program PROGRAM.dll SOURCE: for dotnet exec.
compile_program() {
  local references_all=("$references"/System*.dll)
  compile -target:exe -nullable:enable -optimize+ "${references_all[@]/#/-reference:}" -out:"$1" "$2"
  printf '{ "runtimeOptions": { "framework": { "name": "Microsoft.NETCore.App", "version": "%s.0.0" } } }\n' \
    "${sdk_version%%.*}" >"${1%.dll}.runtimeconfig.json"
}
